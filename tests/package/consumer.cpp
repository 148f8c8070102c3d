#include <quorrel/QuorrelCore.h>
#include <trovix/TrovixLib.h>
#include <trovix/platform/LinuxPlatform.h>

int main(int, char** arguments) {
  // Lives as long as the process.
  auto& platform = *new trovix::platform::LinuxPlatform({.dataDirectory = arguments[1]});
  trovix::platform::setDefaultPlatform(platform.services());
  const bool ready = quorrel::QuorrelCore::shared().readyStatus();
  return ready && trovix::TrovixLib::shared().getSDKVersion() == "version: 6.2.2 (build 64)" ? 0 : 1;
}
