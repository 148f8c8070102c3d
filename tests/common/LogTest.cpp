#include "common/Log.h"

#include "support/SimulatedDevice.h"
#include "support/Testing.h"

namespace trovix {
namespace {

using Lines = std::vector<std::string>;

class RecordingLog : public platform::SystemLog {
 public:
  void write(std::string_view line) override {
    lines.emplace_back(line);
    TX_LOG(error, "from inside the system's log");
  }
  Lines lines;
};

class Site {
 public:
  static void inStatic(const std::string& text) { TX_LOG(info, "{}", text); }
  std::vector<std::pair<int, void (*)(int)>> inClosure(int count) {
    [count](auto more) { TX_LOG(info, "{}", count + more); }(1);
    return {};
  }
};

struct LogTest : testing::Test {
  LogTest() {
    logging::installSink(&log, &device.clock);
    logging::installMirror({[](void* context, std::int32_t level, std::string_view method, std::string_view message) {
                              static_cast<LogTest*>(context)->mirrored.push_back(
                                  fmt::format("{} {} {}", level, method, message));
                              TX_LOG(warning, "inside");
                            },
                            this});
  }
  ~LogTest() override {
    logging::switches = 0;
    logging::installMirror({});
    logging::installSink(nullptr, nullptr);
    TXSetSessionStartDate(std::numeric_limits<double>::quiet_NaN());
  }

  Lines takeLines() { return std::exchange(log.lines, {}); }

  RecordingLog log;
  test::SimulatedDevice device;
  Lines mirrored;
};

TEST_F(LogTest, AnIdleSiteEvaluatesNothing) {
  int evaluated = 0;
  TXSetShowDebugLogsTrace(true);
  TX_LOG(error, "{}", ++evaluated);
  TXSetShowDebugLogs(true);
  TXSetShowDebugLogsTrace(false);
  TX_LOG(trace, "{}", ++evaluated);
  EXPECT_EQ(evaluated, 0);
}

TEST_F(LogTest, SwitchesDecideWhoGetsALine) {
  // Switches, local lines, and how many the mirror gets, the system log's own included.
  const std::tuple<bool, bool, bool, Lines, std::size_t> cases[] = {
      {false, false, false, {}, 0},
      {false, true, false, {}, 0},
      {false, true, true, {}, 2},
      {true, false, false, {"[INFO]  Trovix: plain"}, 0},
      {true, false, true, {"[INFO]  Trovix: plain", "[WARN]  Trovix: inside", "[WARN]  Trovix: inside"}, 3},
      {true, true, false, {"(--:--:--:---) Trovix: [INFO]  plain", "(--:--:--:---) Trovix: [TRACE] deep"}, 0}};
  for (const auto& [show, trace, mirror, local, mirroredCount] : cases) {
    TXSetShowDebugLogs(show);
    TXSetShowDebugLogsTrace(trace);
    logging::setMirroring(mirror);
    mirrored.clear();
    TX_LOG(info, "plain");
    TX_LOG(trace, "deep");
    EXPECT_EQ(takeLines(), local);
    EXPECT_EQ(mirrored.size(), mirroredCount);
  }
}

TEST_F(LogTest, StampsCountFromTheSessionStart) {
  EXPECT_EQ(timeToString(), "--:--:--:---");
  const std::pair<double, const char*> cases[] = {
      {0.5, "00:00:00:000"}, {5.5, "00:00:00:005"},       {9999.5, "00:00:09:999"},       {599999.5, "00:09:59:999"},
      {6e5, "00:10:00:000"}, {3723004.5, "01:02:03:004"}, {3.6e8 + 0.5, "100:00:00:000"}, {-1.5, "--:--:--:---"}};
  TXSetSessionStartDate(0);
  for (const auto& [milliseconds, stamp] : cases) {
    device.setNow(milliseconds / 1000);
    EXPECT_EQ(timeToString(), stamp);
  }
  device.setNow(3.0475);
  TXSetShowDebugLogs(true);
  TXSetShowDebugLogsTrace(true);
  TX_LOG(debug, "SetCustomerId = {}", 42);
  EXPECT_EQ(takeLines(), Lines{"(00:00:03:047) Trovix: [DEBUG] SetCustomerId = 42"});
}

TEST_F(LogTest, TheMirrorLearnsTheCallingMethod) {
  logging::setMirroring(true);
  Site::inStatic("a");
  Site().inClosure(1);
  logging::mirrorOnly(LogLevel::debug, "int trovix::Site::plain(std::function<void(int)>) const", "only");
  EXPECT_EQ(mirrored, (Lines{"3 +[Site inStatic] a", "3 -[Site inClosure]_block_invoke 2", "4 -[Site plain] only"}));
  EXPECT_EQ(takeLines(), Lines());
}

TEST_F(LogTest, NamesFromBothCompilers) {
  for (const auto& [pretty, name] : std::vector<std::pair<const char*, const char*>>{
           {"std::map<int, std::function<void(int)> > trovix::Host::find(int) const", "-[Host find]"},
           {"auto trovix::Host::run(int)::(anonymous class)::operator()() const", "-[Host run]_block_invoke"},
           {"trovix::Host::run(int)::<lambda()>::<lambda(auto:1)> [with auto:1 = int]", "-[Host run]_block_invoke"},
           {"trovix::Host::Host(trovix::platform::Clock&)", "-[Host Host]"},
           {"trovix::Host::~Host()", "-[Host ~Host]"},
           {"bool trovix::{anonymous}::Walk::visit(long unsigned int)", "-[Walk visit]"},
           {"bool trovix::(anonymous namespace)::visit(unsigned long)", "visit"},
           {"T* trovix::Box<T>::get() [with T = int]", "-[Box get]"},
           {"void trovix::Box<int>::operator()(int)", "-[Box operator()]"},
           {"", ""}}) {
    EXPECT_EQ(logging::methodName(pretty), name);
  }
}

TEST_F(LogTest, NoThreadIsInsideAReplacedMirror) {
  struct Target {
    std::atomic<bool> installed{true};
    std::atomic<int> late{0};
  };
  logging::setMirroring(true);
  logging::installMirror({});  // the recording one takes one thread at a time
  std::atomic<bool> stop{false};
  std::vector<std::thread> writers;
  for (int i = 0; i < 2; ++i) {
    writers.emplace_back([&] {
      while (!stop) TX_LOG(info, "line");
    });
  }
  Target targets[50];
  for (Target& target : targets) {
    logging::installMirror({[](void* context, std::int32_t, std::string_view, std::string_view) {
                              auto* mirror = static_cast<Target*>(context);
                              if (!mirror->installed) ++mirror->late;
                            },
                            &target});
    std::this_thread::yield();
    logging::installMirror({});
    target.installed = false;
  }
  stop = true;
  for (std::thread& writer : writers) writer.join();
  for (const Target& target : targets) EXPECT_EQ(target.late, 0);
}

}  // namespace
}  // namespace trovix
