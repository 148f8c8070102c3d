#pragma once

#include "core/TrovixLibParts.h"
#include "fuzz/Support.h"

namespace trovix::fuzz {

/// The parameters of the next launch as they go to the server, which takes them. It is heard of once.
inline Dictionary deliverLaunch(Application& application) {
  constexpr const char* address = "event?app_id=";
  test::SimulatedDevice& device = application.device;
  device.network.defaultAnswer = {};
  device.network.hold(address);
  int delivered = 0;
  application.sdk.startWithCompletionHandler([&](const auto& data, const auto& error) {
    require(!error && *data == Dictionary{{"statusCode", 200}});
    ++delivered;
  });
  device.runUntilIdle();
  const auto sending = application.sdk.parts().buffer->lockedElements();
  require(sending.size() == 1);
  const auto body = sending.front()->userObject()->data();
  require(body && platform::isValidUtf8(platform::textOf(*body)));
  const auto parameters = platform::parseJson(*body);
  require(parameters && parameters->dictionary() != nullptr);

  device.network.release(address);
  device.advance(longEnough);
  require(delivered == 1);
  return *parameters->dictionary();
}

}  // namespace trovix::fuzz
