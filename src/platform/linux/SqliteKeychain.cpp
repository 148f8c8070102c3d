#include "platform/linux/SqliteKeychain.h"

#include <fmt/core.h>

#include <array>
#include <utility>

#include "trovix/platform/SystemLog.h"

namespace trovix::platform {
namespace {

constexpr const char* keychainSchema =
    "CREATE TABLE IF NOT EXISTS items (id INTEGER PRIMARY KEY, class TEXT NOT NULL, account TEXT NOT NULL, "
    "service TEXT NOT NULL, generic TEXT, accessible TEXT, sealed BLOB NOT NULL, UNIQUE (class, account, service))";
constexpr const char* selectItemText =
    "SELECT id, class, account, service, generic, accessible, sealed FROM items WHERE (?1 IS NULL OR class = ?1) "
    "AND (?2 IS NULL OR account = ?2) AND (?3 IS NULL OR service = ?3) AND (?4 IS NULL OR generic = ?4) "
    "AND (?5 IS NULL OR accessible = ?5) ORDER BY id";
constexpr const char* writeText =
    "REPLACE INTO items (class, account, service, generic, accessible, sealed, id) VALUES (?1, ?2, ?3, ?4, ?5, ?6, ?7)";
constexpr const char* deleteItemText = "DELETE FROM items WHERE id = ?1";

// In the order of the columns; the first three are the identity.
constexpr std::array attributeNames = {keychainAttribute::itemClass, keychainAttribute::account,
                                       keychainAttribute::service, keychainAttribute::generic,
                                       keychainAttribute::accessible};
constexpr std::size_t identityCount = 3;

std::optional<std::string> attributeBytes(const Value& value) {
  if (const std::string* text = value.string()) return *text;
  if (const Data* data = value.data()) return std::string(data->begin(), data->end());
  return std::nullopt;
}

bool isReadingOption(std::string_view name) {
  return name == keychainAttribute::matchLimit || name == keychainAttribute::returnData;
}

}  // namespace

struct SqliteKeychain::Item {
  std::int64_t identifier = 0;
  std::array<std::optional<std::string>, attributeNames.size()> attributes;
  std::optional<Data> value;
  Data sealed;

  /// Nothing when there is an attribute that items do not have, or one of the wrong type.
  static std::optional<Item> of(const Dictionary& dictionary) {
    Item item;
    for (const auto& [name, value] : dictionary) {
      if (isReadingOption(name)) continue;
      if (name == keychainAttribute::valueData) {
        if (value.data() == nullptr) return std::nullopt;
        item.value = *value.data();
        continue;
      }
      std::optional<std::string>* place = item.find(name);
      if (place == nullptr) return std::nullopt;
      *place = attributeBytes(value);
      if (!*place) return std::nullopt;
    }
    return item;
  }

  [[nodiscard]] bool hasClass() const { return attributes[0].has_value(); }

  /// The identity alone, with what is missing empty.
  [[nodiscard]] Item identity() const {
    Item item;
    for (std::size_t i = 0; i < identityCount; ++i) item.attributes[i] = attributes[i].value_or("");
    return item;
  }

  /// The identity in one text; lengths keep its parts apart.
  [[nodiscard]] std::string owner() const {
    std::string owner;
    for (std::size_t i = 0; i < identityCount; ++i) {
      const std::string part = attributes[i].value_or("");
      owner += std::to_string(part.size()) + ':' + part;
    }
    return owner;
  }

 private:
  std::optional<std::string>* find(std::string_view name) {
    for (std::size_t i = 0; i < attributeNames.size(); ++i) {
      if (name == attributeNames[i]) return &attributes[i];
    }
    return nullptr;
  }
};

SqliteKeychain::SqliteKeychain(const std::string& directory, SystemLog& log)
    : keyPath_(directory + "/keychain.key"), log_(log), database_(directory + "/keychain.sqlite", keychainSchema) {}

SqliteKeychain::~SqliteKeychain() = default;

std::int32_t SqliteKeychain::add(const Dictionary& attributes) {
  const auto item = Item::of(attributes);
  if (!item || !item->hasClass()) return keychainStatus::parameter;
  return perform(
      [&]() TX_REQUIRES(mutex_) { return inTransaction([&]() TX_REQUIRES(mutex_) { return addItem(*item); }); });
}

std::int32_t SqliteKeychain::copyMatching(const Dictionary& query, Data& result) {
  const auto item = Item::of(query);
  if (!item || !item->hasClass()) return keychainStatus::parameter;
  return perform([&]() TX_REQUIRES(mutex_) { return copyFirst(*item, result); });
}

std::int32_t SqliteKeychain::update(const Dictionary& query, const Dictionary& attributesToUpdate) {
  const auto item = Item::of(query);
  const auto changes = Item::of(attributesToUpdate);
  if (!item || !item->hasClass() || !changes || changes->hasClass()) return keychainStatus::parameter;
  return perform([&]() TX_REQUIRES(mutex_) {
    return inTransaction([&]() TX_REQUIRES(mutex_) { return updateMatching(*item, *changes); });
  });
}

std::int32_t SqliteKeychain::remove(const Dictionary& query) {
  const auto item = Item::of(query);
  if (!item || !item->hasClass()) return keychainStatus::parameter;
  return perform(
      [&]() TX_REQUIRES(mutex_) { return inTransaction([&]() TX_REQUIRES(mutex_) { return removeMatching(*item); }); });
}

template <typename Operation>
std::int32_t SqliteKeychain::perform(Operation operation) {
  if (generation_ != forkGeneration()) return keychainStatus::notAvailable;
  const MutexLock lock(mutex_);
  // A damaged file is found on opening or by the operation; either way there is one second try, on a fresh one.
  for (int attempt = 0; attempt < 2; ++attempt) {
    if (database_.isOpen() && database_.wasReplaced()) database_.close();
    // Whoever replaced the file may have replaced the key beside it.
    if (!database_.isOpen()) key_.reset();
    isKeyMissing_ = false;
    Ending ending{database_.isOpen() ? SqliteOutcome::done : database_.open()};
    if (ending.outcome == SqliteOutcome::done) ending = operation();
    if (ending.outcome == SqliteOutcome::done) return ending.status;
    if (ending.outcome != SqliteOutcome::corrupt || !database_.setAside(log_)) break;
  }
  noteFailure();
  return keychainStatus::notAvailable;
}

void SqliteKeychain::noteFailure() {
  if (std::exchange(failureWasLogged_, true)) return;
  log_.write(fmt::format("Keychain {} cannot be used: {}", database_.path(),
                         isKeyMissing_ ? keyPath_ + " can be neither read nor made" : database_.lastFailure()));
}

template <typename Operation>
SqliteKeychain::Ending SqliteKeychain::inTransaction(Operation operation) {
  Ending ending{database_.execute("BEGIN IMMEDIATE")};
  if (ending.outcome != SqliteOutcome::done) return ending;
  ending = operation();
  const bool succeeded = ending.outcome == SqliteOutcome::done && ending.status == keychainStatus::success;
  if (succeeded) ending.outcome = database_.execute("COMMIT");
  if (!succeeded || ending.outcome != SqliteOutcome::done) {
    database_.rollBack();
  } else {
    failureWasLogged_ = false;
  }
  return ending;
}

SqliteKeychain::Ending SqliteKeychain::addItem(const Item& item) {
  std::vector<Item> namesakes;
  if (const auto outcome = readMatching(item.identity(), namesakes); outcome != SqliteOutcome::done) return {outcome};
  for (Item& namesake : namesakes) {
    if (unseal(namesake)) return {SqliteOutcome::done, keychainStatus::duplicateItem};
  }
  return writeItem(item);
}

SqliteKeychain::Ending SqliteKeychain::copyFirst(const Item& query, Data& result) {
  std::vector<Item> items;
  if (const auto outcome = readMatching(query, items); outcome != SqliteOutcome::done) return {outcome};
  for (Item& item : items) {
    if (!unseal(item)) continue;
    result = std::move(*item.value);
    return {};
  }
  return {SqliteOutcome::done, keychainStatus::itemNotFound};
}

SqliteKeychain::Ending SqliteKeychain::updateMatching(const Item& query, const Item& changes) {
  std::vector<Item> items;
  if (const auto outcome = readMatching(query, items); outcome != SqliteOutcome::done) return {outcome};
  std::erase_if(items, [this](Item& item) TX_REQUIRES(mutex_) { return !unseal(item); });
  if (items.empty()) return {SqliteOutcome::done, keychainStatus::itemNotFound};
  for (Item& item : items) {
    for (std::size_t i = 0; i < attributeNames.size(); ++i) {
      if (changes.attributes[i]) item.attributes[i] = changes.attributes[i];
    }
    if (changes.value) item.value = changes.value;
    std::vector<Item> namesakes;
    if (const auto outcome = readMatching(item.identity(), namesakes); outcome != SqliteOutcome::done) {
      return {outcome};
    }
    for (const Item& namesake : namesakes) {
      if (namesake.identifier != item.identifier) return {SqliteOutcome::done, keychainStatus::duplicateItem};
    }
    if (const Ending ending = writeItem(item); ending.outcome != SqliteOutcome::done) return ending;
  }
  return {};
}

SqliteKeychain::Ending SqliteKeychain::removeMatching(const Item& query) {
  std::vector<Item> items;
  if (const auto outcome = readMatching(query, items); outcome != SqliteOutcome::done) return {outcome};
  std::int32_t status = keychainStatus::itemNotFound;
  for (Item& item : items) {
    if (!unseal(item)) continue;
    status = keychainStatus::success;
    if (const auto outcome = deleteItem(item.identifier); outcome != SqliteOutcome::done) return {outcome};
  }
  return {SqliteOutcome::done, status};
}

SqliteOutcome SqliteKeychain::readMatching(const Item& query, std::vector<Item>& items) {
  SqliteStatement select;
  SqliteOutcome outcome = database_.prepare(selectItemText, select);
  if (outcome != SqliteOutcome::done) return outcome;
  for (std::size_t i = 0; i < attributeNames.size(); ++i) {
    if (query.attributes[i]) select.bind(static_cast<int>(i) + 1, std::string_view(*query.attributes[i]));
  }
  for (outcome = select.step(); outcome == SqliteOutcome::row; outcome = select.step()) {
    Item& item = items.emplace_back();
    item.identifier = select.integer(0);
    for (std::size_t i = 0; i < attributeNames.size(); ++i) {
      const int column = static_cast<int>(i) + 1;
      if (!select.isNull(column)) item.attributes[i] = select.bytes(column);
    }
    const std::string_view sealed = select.bytes(static_cast<int>(attributeNames.size()) + 1);
    item.sealed.assign(sealed.begin(), sealed.end());
  }
  // Without its key, for a passing reason perhaps, an item must not look as if it were gone for good.
  if (outcome == SqliteOutcome::done && !items.empty() && sealingKey() == nullptr) return SqliteOutcome::failed;
  return outcome;
}

bool SqliteKeychain::unseal(Item& item) {
  item.value = openSeal(*key_, item.sealed, item.owner());
  return item.value.has_value();
}

SqliteKeychain::Ending SqliteKeychain::writeItem(const Item& item) {
  const SealingKey* key = sealingKey();
  const auto sealed = key != nullptr ? sealValue(*key, item.value.value_or(Data()), item.owner()) : std::nullopt;
  if (!sealed) return {SqliteOutcome::failed};
  SqliteStatement write;
  if (const auto outcome = database_.prepare(writeText, write); outcome != SqliteOutcome::done) return {outcome};
  for (std::size_t i = 0; i < attributeNames.size(); ++i) {
    const int parameter = static_cast<int>(i) + 1;
    if (item.attributes[i]) {
      write.bind(parameter, std::string_view(*item.attributes[i]));
    } else if (i < identityCount) {
      write.bind(parameter, std::string_view(""));
    }
  }
  write.bind(6, *sealed);
  if (item.identifier != 0) write.bind(7, item.identifier);
  return {write.run()};
}

SqliteOutcome SqliteKeychain::deleteItem(std::int64_t identifier) {
  SqliteStatement statement;
  if (const auto outcome = database_.prepare(deleteItemText, statement); outcome != SqliteOutcome::done) return outcome;
  statement.bind(1, identifier);
  return statement.run();
}

const SealingKey* SqliteKeychain::sealingKey() {
  if (!key_) key_ = readOrMakeSealingKey(keyPath_, log_);
  isKeyMissing_ = !key_;
  return key_ ? &*key_ : nullptr;
}

}  // namespace trovix::platform
