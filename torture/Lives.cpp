#include "torture/Lives.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <utility>

#include "linux/TemporaryDirectory.h"
#include "trovix/Json.h"

namespace trovix::torture {
namespace {

using platform::MutexLock;

std::string lifeText(const Dictionary& dictionary, std::string_view key) {
  const Value* value = dictionary.find(key);
  return value != nullptr ? description(*value) : "(missing)";
}

bool lifeCheck(const Dictionary& request, std::string_view check) {
  const Dictionary* checks = request.dictionary("checks");
  const Value* verdict = checks != nullptr ? checks->find(check) : nullptr;
  return verdict != nullptr && verdict->boolValue();
}

void readOutput(const std::string& outputFile, std::chrono::steady_clock::time_point endedAt, LifeEnd& end) {
  std::map<std::string, std::vector<std::string>> stampsByFile;
  std::ifstream output(outputFile);
  std::string line;
  // A line without its end was being written when the process died.
  while (std::getline(output, line) && !output.eof()) {
    const auto fields = dictionaryFromJson(line);
    const std::string name = fields ? lifeText(*fields, "name") : "";
    if (name == "leaving") {
      // All processes have the same monotonic clock.
      const auto since = endedAt.time_since_epoch() - std::chrono::nanoseconds(fields->find("at")->integerValue());
      end.leaving = std::chrono::duration_cast<std::chrono::milliseconds>(since);
    }
    if (name != "cached") continue;
    const std::string uuid = lifeText(*fields, "event");
    stampsByFile[lifeText(*fields, "file")].push_back(uuid.substr(uuid.rfind('-') + 1));
  }
  for (const auto& [file, stamps] : stampsByFile) {
    if (stamps.size() == 1) {
      end.accepted.push_back({stamps.front(), file});
    } else {
      end.overwritten += stamps.size();
    }
  }
}

}  // namespace

bool LifeEnd::isClean(int status) const {
  return ending.exitStatus == status && log.find("Sanitizer") == std::string::npos &&
         log.find("runtime error:") == std::string::npos;
}

std::string LifeEnd::text() const {
  constexpr std::size_t shown = 2000;
  return (ending.byKill ? "hung" : ending.text) + (log.empty() ? "" : ", saying\n" + log.substr(0, shown));
}

Life::Life(const LifeStory& story, std::string outputFile)
    : outputFile_(std::move(outputFile)),
      process_("/proc/self/exe", {lifeArgument, jsonText(story).value_or("")}, outputFile_) {}

LifeEnd Life::end(std::chrono::seconds limit) { return endOf(process_.waitForEnd(limit)); }

LifeEnd Life::kill() { return endOf(process_.kill()); }

LifeEnd Life::endOf(HostProcess::Ending ending) const {
  const auto endedAt = std::chrono::steady_clock::now();
  LifeEnd end{.ending = std::move(ending),
              .accepted = {},
              .leaving = std::nullopt,
              .log = platform::contentOf(outputFile_ + ".err")};
  readOutput(outputFile_, endedAt, end);
  return end;
}

void Inbox::add(const Dictionary& request) {
  const std::string kind = lifeText(request, "kind");
  if (kind != "InApps" && kind != "Conversions" && kind != "Launches") return;
  const Dictionary* parameters = request.dictionary("parameters");
  const MutexLock lock(mutex_);
  if (parameters == nullptr || !lifeCheck(request, "decrypted") || !lifeCheck(request, "checksum")) {
    ++unreadable_;
    return;
  }
  ++stamps_[lifeText(*parameters, "timestamp")];
  events_[{lifeText(*parameters, "appUID"), lifeText(*parameters, "eventName")}] = *parameters;
}

std::size_t Inbox::missing(const std::vector<Acceptance>& accepted) const {
  const MutexLock lock(mutex_);
  std::size_t count = 0;
  for (const Acceptance& acceptance : accepted) count += stamps_.contains(acceptance.stamp) ? 0 : 1;
  return count;
}

std::optional<Dictionary> Inbox::find(const std::string& who, const std::string& event) const {
  const MutexLock lock(mutex_);
  const auto found = events_.find({who, event});
  return found != events_.end() ? std::optional(found->second) : std::nullopt;
}

std::string Inbox::textOf(const std::string& who, const std::string& event, std::string_view key) const {
  const auto parameters = find(who, event);
  return parameters ? lifeText(*parameters, key) : "(missing)";
}

std::size_t Inbox::unreadable() const {
  const MutexLock lock(mutex_);
  return unreadable_;
}

std::size_t waitingRequests(const std::string& dataDirectory) {
  std::error_code ignored;
  const std::filesystem::directory_iterator files(cacheOf(dataDirectory), ignored);
  return static_cast<std::size_t>(std::distance(std::filesystem::begin(files), std::filesystem::end(files)));
}

}  // namespace trovix::torture
