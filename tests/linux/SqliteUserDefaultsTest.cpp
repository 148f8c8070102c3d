#include "platform/linux/SqliteUserDefaults.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <thread>

#include "linux/TemporaryDirectory.h"
#include "platform/linux/CompactValue.h"

namespace trovix::platform {
namespace {

using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::SizeIs;

struct SqliteUserDefaultsTest : ::testing::Test {
  [[nodiscard]] std::unique_ptr<SqliteUserDefaults> open() {
    return std::make_unique<SqliteUserDefaults>(directory / "a/defaults.sqlite", log);
  }
  TemporaryDirectory directory;
  RecordingLog log;
  const std::string file = directory / "a/defaults.sqlite";
};

TEST_F(SqliteUserDefaultsTest, EveryKindOfValueSurvivesReopeningExactly) {
  const std::vector<std::pair<std::string, Value>> values = {
      {"true", true},
      {"integer", std::numeric_limits<std::int64_t>::min()},
      {"real", 0.1},
      {"infinite", std::numeric_limits<double>::infinity()},
      {"text", std::string("a\0\xff", 3)},
      {"empty", ""},
      {"bytes", Data{0, 1, 255}},
      {"no bytes", Data{}},
      {"date", Date{-1.5}},
      {"array", Array{1, "two", Dictionary{{"three", 3.5}}}},
      {"dictionary", Dictionary{{"flag", true}, {"list", Array{}}}},
      {std::string("key\0", 4), "odd"},
  };
  for (const auto& [key, value] : values) open()->set(key, value);
  const auto defaults = open();
  for (const auto& [key, value] : values) {
    const auto read = defaults->object(key);
    ASSERT_NE(read, nullptr) << key;
    EXPECT_EQ(*read, value) << key;
    EXPECT_EQ(read->kind(), value.kind()) << key;
  }
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST_F(SqliteUserDefaultsTest, NullsRemoveKeysAndAreLeftOutInside) {
  const auto defaults = open();
  defaults->setAll({{"a", Value(1)}, {"b", Value(2)}, {"c", Value(3)}});
  defaults->set("a", Value(nullptr));
  defaults->setAll({{"b", std::nullopt}, {"c", Value(4)}});
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
  const pid_t child = ::fork();
  if (child == 0) {
    SqliteUserDefaults defaults(file, log);
    defaults.set("one", 1);
    defaults.setAll({{"two", Value(2)}, {"three", Value(3)}});
    ::raise(SIGKILL);
  }
  int status = 0;
  ::waitpid(child, &status, 0);
  ASSERT_TRUE(WIFSIGNALED(status));
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
  EXPECT_EQ(second->string("mine"), "first");
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
  for (const std::string& damage : {std::string("this is no database at all, whatever its name says"),
                                    header + std::string(5000, '\xa5'), std::string(70000, '\0')}) {
    open()->set("key", 1);
    const std::string neighbour = directory / "a/neighbour.sqlite";
    overwrite(neighbour, "neighbour");
    overwrite(file, damage);
    log.lines.clear();
    const auto defaults = open();
    EXPECT_EQ(defaults->object("key"), nullptr);
    defaults->set("new", 2);
    EXPECT_EQ(open()->integer("new"), 2);
    ASSERT_THAT(log.lines, SizeIs(1));
    EXPECT_THAT(log.lines.front(), HasSubstr("set aside as"));
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
    defaults->setAll({{"old", std::nullopt}, {"more", Value(2)}});
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
  EXPECT_EQ(defaults->string("during"), std::string(3000, 'x'));
  EXPECT_EQ(open()->object("during"), nullptr);
  defaults->set("after", 2);
  EXPECT_EQ(open()->string("during"), std::string(3000, 'x'));
  EXPECT_EQ(open()->integer("after"), 2);
}

TEST_F(SqliteUserDefaultsTest, ReadersAndWritersRunSideBySide) {
  const auto defaults = open();
  const auto other = open();
  std::vector<std::thread> threads;
  for (SqliteUserDefaults* each : {defaults.get(), other.get()}) {
    threads.emplace_back([each] {
      for (int i = 0; i < 200; ++i) each->set("shared", std::to_string(i));
    });
    threads.emplace_back([each] {
      for (int i = 0; i < 200; ++i) each->refresh();
    });
    threads.emplace_back([each] {
      for (int i = 0; i < 2000; ++i) {
        const auto value = each->object("shared");
        ASSERT_TRUE(value == nullptr || value->string() != nullptr);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  defaults->refresh();
  EXPECT_EQ(defaults->string("shared"), "199");
  EXPECT_THAT(log.lines, IsEmpty());
}

TEST(CompactValueTest, DamagedBytesAreRefusedOrReadButNeverMore) {
  const Value value(Dictionary{{"a", Array{1, 2.5, true, Date{3}, Data{4}, nullptr}}, {"b", std::string(200, 'x')}});
  const auto encoded = encodeCompactly(value);
  ASSERT_TRUE(encoded);
  const std::string bytes(encoded->begin(), encoded->end());
  ASSERT_TRUE(decodeCompactly(bytes));
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
  for (int i = 0; i < 65; ++i) nested = Value(Array{std::move(nested)});
  EXPECT_EQ(encodeCompactly(nested), std::nullopt);
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
  EXPECT_EQ(domains.suite("group.example"), suite);
  suite->set("key", "suite");
  EXPECT_EQ(domains.standard().object("key"), nullptr);
  EXPECT_TRUE(std::filesystem::exists(directory / "group/group.example.sqlite"));

  overwrite(directory / "file", "");
  SqliteUserDefaultsDomains nowhere(directory / "file/app.sqlite", directory / "file", log);
  EXPECT_EQ(nowhere.suite("group.example"), nullptr);
  nowhere.standard().set("key", 7);
  EXPECT_EQ(nowhere.standard().integer("key"), 7);
}

}  // namespace
}  // namespace trovix::platform
