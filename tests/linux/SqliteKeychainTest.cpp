#include "platform/linux/SqliteKeychain.h"

#include "linux/TemporaryDirectory.h"

namespace trovix::platform {
namespace {

namespace attribute = keychainAttribute;
namespace status = keychainStatus;

Data bytes(std::string_view text) { return Data(text.begin(), text.end()); }

Dictionary item(std::string_view account, const char* access = attribute::accessibleAfterFirstUnlockThisDeviceOnly) {
  return Dictionary{{attribute::itemClass, attribute::classGenericPassword},
                    {attribute::generic, bytes(account)},
                    {attribute::account, bytes(account)},
                    {attribute::service, "example.Service"},
                    {attribute::accessible, access}};
}

Dictionary with(Dictionary dictionary, const char* name, Value value) {
  dictionary.set(name, std::move(value));
  return dictionary;
}

struct SqliteKeychainTest : ::testing::Test {
  std::int32_t add(std::string_view account, std::string_view secret) {
    return keychain->add(with(item(account), attribute::valueData, bytes(secret)));
  }
  std::string read(Dictionary query) {
    query.merge({{attribute::matchLimit, attribute::matchLimitOne}, {attribute::returnData, true}});
    Data data;
    const std::int32_t code = keychain->copyMatching(query, data);
    return code == status::success ? std::string(data.begin(), data.end()) : std::to_string(code);
  }
  void reopen() { keychain = std::make_unique<SqliteKeychain>(directory / "keychain", log); }

  const std::string notFound = "-25300";
  TemporaryDirectory directory;
  RecordingLog log;
  std::unique_ptr<SqliteKeychain> keychain = std::make_unique<SqliteKeychain>(directory / "keychain", log);
};

TEST_F(SqliteKeychainTest, KeepsSemanticsOfAddQueryUpdateRemove) {
  EXPECT_EQ(read(item("a")), notFound);
  EXPECT_EQ(keychain->update(item("a"), {{attribute::valueData, bytes("x")}}), status::itemNotFound);
  EXPECT_EQ(keychain->remove(item("a")), status::itemNotFound);
  EXPECT_EQ(add("a", "one"), status::success);
  EXPECT_EQ(add("b", ""), status::success);
  EXPECT_EQ(add("a", "two"), status::duplicateItem);
  EXPECT_EQ(read(item("a")), "one");
  EXPECT_EQ(keychain->update(item("a"), {{attribute::valueData, bytes("three")}}), status::success);
  EXPECT_EQ(keychain->update(item("a"), {{attribute::account, "b"}}), status::duplicateItem);
  reopen();
  EXPECT_EQ(read(item("a")), "three");
  EXPECT_EQ(read(item("b")), "");
  EXPECT_EQ(keychain->remove(item("a")), status::success);
  EXPECT_EQ(read(item("a")), notFound);
  EXPECT_EQ(read(item("b")), "");
  EXPECT_EQ(keychain->add({{attribute::account, "c"}}), status::parameter);
  EXPECT_EQ(keychain->add(with(item("c"), "unknown", 1)), status::parameter);
  EXPECT_EQ(keychain->add(with(item("c"), attribute::valueData, 1)), status::parameter);
}

TEST_F(SqliteKeychainTest, ItemsAreMatchedByEveryAttributeAndMayMoveTheirAccessibility) {
  const Dictionary old = item("a", attribute::accessibleAlwaysThisDeviceOnly);
  ASSERT_EQ(keychain->add(with(old, attribute::valueData, bytes("secret"))), status::success);
  EXPECT_EQ(read(item("a")), notFound);
  EXPECT_EQ(add("a", "again"), status::duplicateItem) << "accessibility is no part of the identity";
  EXPECT_EQ(keychain->update(old, {{attribute::accessible, attribute::accessibleAfterFirstUnlockThisDeviceOnly}}),
            status::success);
  EXPECT_EQ(read(item("a")), "secret");
  EXPECT_EQ(read(old), notFound);
}

TEST_F(SqliteKeychainTest, ValuesAreSealedAndBoundToTheirItem) {
  ASSERT_EQ(add("a", "plain-secret-text"), status::success);
  ASSERT_EQ(add("b", "other-secret-text"), status::success);
  for (const char* name : {"keychain.sqlite", "keychain.sqlite-wal", "keychain.key"}) {
    const std::string path = directory / ("keychain/" + std::string(name));
    EXPECT_THAT(contentOf(path), Not(HasSubstr("secret-text"))) << name;
    EXPECT_EQ(std::filesystem::status(path).permissions(), std::filesystem::perms(0600)) << name;
  }
  SqliteDatabase database(directory / "keychain/keychain.sqlite", "SELECT 1");
  ASSERT_EQ(database.open(), SqliteOutcome::done);
  database.execute("UPDATE items SET sealed = (SELECT sealed FROM items WHERE account = 'b') WHERE account = 'a'");
  EXPECT_EQ(read(item("a")), notFound);
  EXPECT_EQ(read(item("b")), "other-secret-text");
  EXPECT_EQ(keychain->remove({{attribute::itemClass, attribute::classGenericPassword}}), status::success);
  SqliteStatement rest;
  ASSERT_EQ(database.prepare("SELECT group_concat(account) FROM items", rest), SqliteOutcome::done);
  rest.step();
  EXPECT_EQ(rest.bytes(0), "a") << "what does not open is not there to be removed";
}

TEST_F(SqliteKeychainTest, ALostKeyLosesItemsButNotTheirPlaces) {
  for (const char* damage : {"lost", "", "short"}) {
    ASSERT_EQ(add("a", "one"), status::success);
    const std::string key = directory / "keychain/keychain.key";
    std::filesystem::remove(key);
    if (damage != std::string("lost")) overwrite(key, damage);
    reopen();
    EXPECT_EQ(read(item("a")), notFound);
    EXPECT_EQ(keychain->update(item("a"), {{attribute::valueData, bytes("x")}}), status::itemNotFound);
    EXPECT_EQ(add("a", "two"), status::success);
    reopen();
    EXPECT_EQ(read(item("a")), "two");
    EXPECT_EQ(keychain->remove(item("a")), status::success);
  }
}

TEST_F(SqliteKeychainTest, AKeyThatCannotBeReadNowCostsNoItem) {
  ASSERT_EQ(add("a", "one"), status::success);
  const std::string key = directory / "keychain/keychain.key";
  std::filesystem::rename(key, directory / "key");
  std::filesystem::create_directory(key);
  reopen();
  EXPECT_EQ(add("a", "two"), status::notAvailable);
  EXPECT_EQ(add("a", "two"), status::notAvailable);
  EXPECT_THAT(log.lines, testing::ElementsAre(testing::HasSubstr("keychain.key can be neither read nor made")));
  std::filesystem::remove(key);
  std::filesystem::rename(directory / "key", key);
  EXPECT_EQ(read(item("a")), "one");
}

TEST_F(SqliteKeychainTest, ADamagedDatabaseIsSetAside) {
  ASSERT_EQ(add("a", "one"), status::success);
  keychain.reset();
  overwrite(directory / "keychain/keychain.sqlite", "no database, but long enough to be looked at");
  reopen();
  EXPECT_EQ(read(item("a")), notFound);
  EXPECT_EQ(add("a", "two"), status::success);
  EXPECT_THAT(log.lines, SizeIs(1));
  EXPECT_THAT(directory.entriesWith("keychain.sqlite.corrupt-"), SizeIs(1));

  overwrite(directory / "file", "");
  SqliteKeychain nowhere(directory / "file", log);
  EXPECT_EQ(nowhere.add(item("a")), status::notAvailable);
}

}  // namespace
}  // namespace trovix::platform
