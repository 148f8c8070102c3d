#include "core/TrovixLibFixture.h"

#include <openssl/evp.h>

#include <array>

#include "platform/Crypto.h"
#include "platform/Json.h"

namespace trovix::test {
namespace {

constexpr std::size_t kTrailer = 16 + 8;

/// Ciphertext, vector, salt; made independently of the library's own cipher.
std::string decrypted(const std::string& body, const std::string& password) {
  if (body.size() < kTrailer) return "";
  const auto* bytes = reinterpret_cast<const unsigned char*>(body.data());
  const std::size_t length = body.size() - kTrailer;
  std::array<unsigned char, 16> key{};
  PKCS5_PBKDF2_HMAC_SHA1(password.data(), static_cast<int>(password.size()), bytes + length + 16, 8, 10'000,
                         static_cast<int>(key.size()), key.data());
  std::string plain(length, '\0');
  auto* out = reinterpret_cast<unsigned char*>(plain.data());
  int head = 0, tail = 0;
  EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
  const bool isOk = EVP_DecryptInit_ex(context, EVP_aes_128_cbc(), nullptr, key.data(), bytes + length) == 1 &&
                    EVP_DecryptUpdate(context, out, &head, bytes, static_cast<int>(length)) == 1 &&
                    EVP_DecryptFinal_ex(context, out + head, &tail) == 1;
  EVP_CIPHER_CTX_free(context);
  plain.resize(isOk ? static_cast<std::size_t>(head + tail) : 0);
  return plain;
}

}  // namespace

void TrovixLibFixture::beginProcess() {
  sdk.reset();
  device.reset();
  device = std::make_unique<SimulatedDevice>(disk);
  networkUp();
}

void TrovixLibFixture::makeSdk() {
  sdk = std::make_unique<TrovixLib>(*device);
  sdk->setDisableSKAdNetwork(true);
  sdk->setTrovixDevKey(kDevKey);
  sdk->setAppleAppID(Value("1234567890"));
  sdk->setDisableCollectASA(true);
  delegate = std::make_shared<TrovixLibDelegate>();
  delegate->onConversionDataSuccess = [this](const Dictionary& data) { successes.push_back(data); };
  delegate->onConversionDataFail = [this](const Error& error) { failures.push_back(error); };
  sdk->setDelegate(delegate);
  device->runUntilIdle();
}

TrovixLib::Completion TrovixLibFixture::recordInto(const std::shared_ptr<std::vector<Outcome>>& outcomes) {
  return [outcomes](const std::optional<Dictionary>& data, const std::optional<Error>& error) {
    outcomes->push_back({data, error});
  };
}

std::shared_ptr<std::vector<Outcome>> TrovixLibFixture::start() {
  auto outcomes = std::make_shared<std::vector<Outcome>>();
  sdk->startWithCompletionHandler(recordInto(outcomes));
  device->runUntilIdle();
  return outcomes;
}

std::shared_ptr<std::vector<Outcome>> TrovixLibFixture::log(const std::string& name, std::optional<Dictionary> values) {
  auto outcomes = std::make_shared<std::vector<Outcome>>();
  sdk->logEventWithEventName(name, std::move(values), recordInto(outcomes));
  device->advance(0.4);
  return outcomes;
}

std::vector<SentEvent> TrovixLibFixture::sent(std::string_view urlPart) const {
  std::vector<SentEvent> events;
  for (const RecordedRequest& request : device->network.requestsTo(urlPart)) {
    const auto json = platform::parseJson(decrypted(request.body(), kDevKey));
    const Dictionary* body = json ? json->dictionary() : nullptr;
    events.push_back({request.url(), body != nullptr ? *body : Dictionary(), request.sentAt});
  }
  return events;
}

SentEvent TrovixLibFixture::lastSent(std::string_view urlPart) const {
  const auto events = sent(urlPart);
  if (!events.empty()) return events.back();
  ADD_FAILURE() << "nothing was sent to " << urlPart;
  return {};
}

}  // namespace trovix::test
