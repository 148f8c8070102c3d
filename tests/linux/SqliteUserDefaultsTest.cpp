#include "platform/linux/SqliteUserDefaults.h"

#include <sys/resource.h>

#include <csignal>

#include "linux/TemporaryDirectory.h"
#include "platform/linux/CompactValue.h"

namespace trovix::platform {

struct SqliteUserDefaultsTest : ::testing::Test {
  [[nodiscard]] std::unique_ptr<SqliteUserDefaults> open() {
    return std::make_unique<SqliteUserDefaults>(directory / "a/defaults.sqlite", log);
  }
  TemporaryDirectory directory;
  RecordingLog log;
  const std::string file = directory / "a/defaults.sqlite";
};

TEST_F(SqliteUserDefaultsTest, EveryKindOfValueSurvivesReopeningExactly) {
  const std::string nul("a\0\xff", 3);
  const Array list{1, "two", Dictionary{{"three", 3.5}}};
  const Array values{
      true, INT64_MIN, 0.1, HUGE_VAL, nul, "", Data{0, 255}, Data{}, Date{-1.5}, list, Dictionary{{"a", list}}};
  const auto keyOf = [](const Value& value) { return std::string("\0key ", 5) + description(value); };
  for (const Value& value : values) open()->set(keyOf(value), value);
  const auto defaults = open();
  for (const Value& value : values) {
    const auto read = defaults->object(keyOf(value));
    ASSERT_TRUE(read != nullptr && *read == value && read->kind() == value.kind()) << description(value);
  }
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(SqliteUserDefaultsTest, NullsRemoveKeysAndAreLeftOutInside) {
  const auto defaults = open();
  defaults->setAll({{"a", 1}, {"b", 2}, {"c", 3}});
  defaults->set("a", Value(nullptr));
  defaults->setAll({{"b", std::nullopt}, {"c", 4}});
  defaults->set("d", Dictionary{{"x", nullptr}, {"y", Array{nullptr, 1, Dictionary{{"z", nullptr}}}}});
  const Value cleaned(Dictionary{{"y", Array{1, Dictionary{}}}});
  const auto reopened = open();
  for (const SqliteUserDefaults* each : {defaults.get(), reopened.get()}) {
    EXPECT_EQ(each->object("a"), nullptr);
    EXPECT_EQ(each->object("b"), nullptr);
    EXPECT_EQ(each->integer("c"), 4);
    EXPECT_EQ(*each->object("d"), cleaned);
  }
}

TEST_F(SqliteUserDefaultsTest, WritesAreThereAfterTheProcessIsKilled) {
  const auto writeAndDie = [&] {
    SqliteUserDefaults defaults(file, log);
    defaults.set("one", 1);
    defaults.setAll({{"two", 2}, {"three", 3}});
    ::raise(SIGKILL);
  };
  EXPECT_EXIT(writeAndDie(), testing::KilledBySignal(SIGKILL), "");
  const auto defaults = open();
  EXPECT_EQ(defaults->integer("one") + defaults->integer("two") + defaults->integer("three"), 6);
}

TEST_F(SqliteUserDefaultsTest, OtherWritersAreSeenAfterRefreshAndNotOverwritten) {
  const auto first = open();
  const auto second = open();
  first->set("mine", "first");
  EXPECT_EQ(second->object("mine"), nullptr);
  second->set("yours", "second");
  second->refresh();
  EXPECT_EQ(second->string("yours"), "second");
  const auto kept = second->object("mine");
  second->refresh();
  EXPECT_EQ(second->object("mine"), kept) << "nothing was written, so nothing is read again";
  first->remove("mine");
  second->refresh();
  EXPECT_EQ(second->object("mine"), nullptr);
  EXPECT_EQ(*kept, Value("first"));
}

TEST_F(SqliteUserDefaultsTest, DamagedFilesAreSetAsideAndNothingElseIsTouched) {
  const std::string header = "SQLite format 3";
  const std::string neighbour = directory / "a/neighbour.sqlite";
  for (const std::string& damage : {std::string("this is no database at all, whatever its name says"),
                                    header + std::string(5000, '\xa5'), std::string(70000, '\0')}) {
    open()->set("key", 1);
    overwrite(neighbour, "neighbour");
    overwrite(file, damage);
    log.lines.clear();
    const auto defaults = open();
    EXPECT_EQ(defaults->object("key"), nullptr);
    defaults->set("new", 2);
    EXPECT_EQ(open()->integer("new"), 2);
    EXPECT_THAT(log.lines, ElementsAre(HasSubstr("set aside as")));
    const auto aside = directory.entriesWith("defaults.sqlite.corrupt-");
    ASSERT_THAT(aside, SizeIs(1));
    EXPECT_EQ(contentOf(directory / ("a/" + aside.front())), damage);
    EXPECT_EQ(contentOf(neighbour), "neighbour");
    std::filesystem::remove_all(directory / "a");
  }
}

TEST_F(SqliteUserDefaultsTest, DamageWhileInUseCostsNoValue) {
  const auto defaults = open();
  const auto other = open();
  defaults->set("kept", "value");
  other->refresh();
  for (const char* suffix : {"", "-wal"}) {
    std::fstream damaged(file + suffix, std::ios::in | std::ios::out | std::ios::binary);
    damaged << std::string(std::filesystem::file_size(file + suffix), 'x');
  }
  defaults->set("new", 1);
  for (int i = 0; i < 3; ++i) other->set("other", i);
  defaults->set("new", 2);
  const auto reopened = open();
  EXPECT_EQ(reopened->string("kept"), "value");
  EXPECT_EQ(reopened->integer("new"), 2);
  EXPECT_EQ(reopened->integer("other"), 2);
}

TEST_F(SqliteUserDefaultsTest, AReplacedFileThatCannotBeOpenedAtOnceCostsNoValue) {
  const auto defaults = open();
  defaults->setAll({{"kept", 1}, {"removed", 1}, {"theirs", 1}});
  std::filesystem::rename(directory / "a", directory / "b");
  std::filesystem::create_directories(file);
  defaults->setAll({{"during", 2}, {"removed", std::nullopt}});
  EXPECT_FALSE(defaults->isPersistent());
  std::filesystem::remove(file);
  open()->set("theirs", 3);
  defaults->set("after", 4);
  const auto reopened = open();
  for (const SqliteUserDefaults* each : {defaults.get(), reopened.get()}) {
    EXPECT_EQ(each->integer("kept") + each->integer("during") + each->integer("after"), 7);
    EXPECT_EQ(each->integer("theirs"), 3);
    EXPECT_EQ(each->object("removed"), nullptr);
  }
}

TEST_F(SqliteUserDefaultsTest, WhatCannotBeWrittenStaysInMemoryAndIsWrittenLater) {
  open()->set("old", "kept");
  std::filesystem::permissions(directory / "a", std::filesystem::perms(0555));
  std::filesystem::permissions(file, std::filesystem::perms(0444));
  std::filesystem::permissions(directory.path(), std::filesystem::perms(0755));
  std::unique_ptr<SqliteUserDefaults> defaults;
  {
    const PlainUser user;
    defaults = open();
    defaults->set("new", 1);
    defaults->setAll({{"old", std::nullopt}, {"more", 2}});
    defaults->refresh();
    EXPECT_EQ(defaults->object("old"), nullptr);
    EXPECT_EQ(defaults->integer("new") + defaults->integer("more"), 3);
    EXPECT_FALSE(defaults->isPersistent());
    EXPECT_EQ(open()->string("old"), "kept") << "reading needs no right to write";
  }
  std::filesystem::permissions(directory / "a", std::filesystem::perms(0755));
  std::filesystem::permissions(file, std::filesystem::perms(0644));
  defaults->set("last", 3);
  const auto reopened = open();
  EXPECT_EQ(reopened->object("old"), nullptr);
  EXPECT_EQ(reopened->integer("new") + reopened->integer("more") + reopened->integer("last"), 6);
}

TEST_F(SqliteUserDefaultsTest, AFullDiskLosesNothingThatIsStillInMemory) {
  const auto defaults = open();
  defaults->set("before", 1);
  std::signal(SIGXFSZ, SIG_IGN);
  rlimit limit{};
  ::getrlimit(RLIMIT_FSIZE, &limit);
  const rlimit none{16, limit.rlim_max};
  ::setrlimit(RLIMIT_FSIZE, &none);
  defaults->set("during", std::string(3000, 'x'));
  ::setrlimit(RLIMIT_FSIZE, &limit);
  EXPECT_EQ(open()->object("during"), nullptr);
  defaults->set("after", 2);
  EXPECT_EQ(open()->string("during"), std::string(3000, 'x'));
  EXPECT_EQ(open()->integer("after"), 2);
}

TEST_F(SqliteUserDefaultsTest, ReadersAndWritersRunSideBySide) {
  const auto defaults = open();
  const auto other = open();
  std::vector<std::jthread> threads;
  const auto repeat = [&](int times, const auto& task) {
    threads.emplace_back([=] {
      for (int i = 0; i < times; ++i) task(i);
    });
  };
  for (SqliteUserDefaults* each : {defaults.get(), other.get()}) {
    repeat(200, [each](int i) { each->set("shared", std::to_string(i)); });
    repeat(200, [each](int) { each->refresh(); });
    repeat(2000, [each](int) {
      const auto value = each->object("shared");
      EXPECT_TRUE(value == nullptr || value->string() != nullptr);
    });
  }
  threads.clear();
  defaults->refresh();
  EXPECT_EQ(defaults->string("shared"), "199");
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST(CompactValueTest, DamagedBytesAreRefusedOrReadButNeverMore) {
  const Value value(Dictionary{{"a", Array{1, 2.5, true, Date{3}, Data{4}, nullptr}}, {"b", std::string(200, 'x')}});
  const Data encoded = encodeCompactly(value).value();
  const std::string bytes(encoded.begin(), encoded.end());
  EXPECT_TRUE(decodeCompactly(bytes));
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    EXPECT_EQ(decodeCompactly(bytes.substr(0, i)), std::nullopt);
    std::string changed = bytes;
    changed[i] = static_cast<char>(~changed[i]);
    static_cast<void>(decodeCompactly(changed));
  }
  EXPECT_EQ(decodeCompactly(bytes + "t"), std::nullopt);
  EXPECT_EQ(decodeCompactly("a\xff\xff\xff\xff\x7f"), std::nullopt);
  std::string deep;
  for (int i = 0; i < 100000; ++i) deep += "a\x01";
  EXPECT_EQ(decodeCompactly(deep), std::nullopt);
  Value nested = 1;
  for (int i = 0; i < 64; ++i) nested = Value(Array{std::move(nested)});
  const Data deepest = encodeCompactly(nested).value_or(Data());
  EXPECT_EQ(decodeCompactly(std::string(deepest.begin(), deepest.end())), nested);
  EXPECT_EQ(encodeCompactly(Array{nested}), std::nullopt);
}

TEST(SqliteUserDefaultsDomainsTest, SuitesAreFilesOfTheirOwnAndMayFail) {
  TemporaryDirectory directory;
  RecordingLog log;
  SqliteUserDefaultsDomains domains(directory / "app/a.sqlite", directory / "group", log);
  for (const std::string& name : {std::string(), std::string("a/b"), std::string("a\0b", 3), std::string(300, 'n')}) {
    EXPECT_EQ(domains.suite(name), nullptr) << name;
  }
  UserDefaults* suite = domains.suite("group.example");
  ASSERT_NE(suite, nullptr);
  suite->set("key", "suite");
  EXPECT_EQ(domains.standard().object("key"), nullptr);
  EXPECT_TRUE(std::filesystem::exists(directory / "group/group.example.sqlite"));

  overwrite(directory / "file", "");
  SqliteUserDefaultsDomains nowhere(directory / "file/app.sqlite", directory / "file", log);
  EXPECT_EQ(nowhere.suite("group.example"), nullptr);
  nowhere.standard().set("key", 7);
  EXPECT_EQ(nowhere.standard().integer("key"), 7);
}

}  // namespace trovix::platform
