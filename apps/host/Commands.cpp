#include "host/CommandArguments.h"
#include "host/Properties.h"
#include "host/Session.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::host {
namespace {

constexpr double defaultAwait = 10;
constexpr double defaultIdle = 30;

namespace notification = platform::application;

std::optional<std::string> checkSet(const Arguments& arguments) {
  const std::string name = textOf(arguments[0]);
  const Property* property = findProperty(name);
  if (property == nullptr) return "unknown property: " + name;
  if (!property->set) return "property can only be read: " + name;
  return std::nullopt;
}

std::optional<std::string> checkGet(const Arguments& arguments) {
  const std::string name = textOf(arguments[0]);
  const Property* property = findProperty(name);
  if (property == nullptr) return "unknown property: " + name;
  if (!property->get) return "property can only be set: " + name;
  return std::nullopt;
}

std::optional<std::string> checkDelegate(const Arguments& arguments) {
  const std::string kind = textOf(arguments[0]);
  if (kind.empty() || kind == "none" || kind == "failure-only") return std::nullopt;
  return "unknown kind of delegate: " + kind;
}

std::vector<Command> lifecycleCommands() {
  return {
      {"prepare",
       "configures the agent with the tracking SDK and starts it",
       {},
       {},
       [](Session& session, const Arguments&) { session.prepare(); }},
      {"delegate",
       "sets a printing delegate without the agent (none, failure-only)",
       {{Kind::word, false, "KIND"}},
       checkDelegate,
       [](Session& session, const Arguments& arguments) {
         session.setPrintingDelegate(arguments[0] ? std::optional(textOf(arguments[0])) : std::nullopt);
       }},
      {"start", "reports a launch", {}, {}, [](Session& session, const Arguments&) { session.start(); }},
      {"finish-launching",
       "posts did-finish-launching, with launch options",
       {{Kind::json, false, "JSON"}},
       objectAt(0),
       [](Session& session, const Arguments& arguments) { session.finishLaunching(dictionaryOf(arguments[0])); }},
      {"active",
       "posts did-become-active",
       {},
       {},
       [](Session& session, const Arguments&) { session.post(notification::didBecomeActive); }},
      {"background",
       "posts did-enter-background",
       {},
       {},
       [](Session& session, const Arguments&) { session.post(notification::didEnterBackground); }},
      {"terminate",
       "posts will-terminate",
       {},
       {},
       [](Session& session, const Arguments&) { session.post(notification::willTerminate); }},
  };
}

std::vector<Command> sdkCommands() {
  return {
      {"event",
       "logs an in-app event",
       {{Kind::name, true, "NAME"}, {Kind::json, false, "JSON"}},
       objectAt(1),
       [](Session& session, const Arguments& arguments) {
         session.logEvent(textOf(arguments[0]), optionalDictionary(arguments[1]));
       }},
      {"set",
       "sets a public property; null is nil",
       {{Kind::word, true, "NAME"}, {Kind::json, true, "JSON"}},
       checkSet,
       [](Session& session, const Arguments& arguments) { session.setProperty(textOf(arguments[0]), *arguments[1]); }},
      {"get",
       "prints a public property",
       {{Kind::word, true, "NAME"}},
       checkGet,
       [](Session& session, const Arguments& arguments) { session.getProperty(textOf(arguments[0])); }},
      {"sharing-filter-all",
       "keeps this user's data from all partners",
       {},
       {},
       [](Session& session, const Arguments&) { session.sdk().setSharingFilterForAllPartners(); }},
      {"override",
       "posts the address override",
       {{Kind::json, true, "JSON"}},
       objectAt(0),
       [](Session& session, const Arguments& arguments) {
         session.post("TrovixArguments.URLs", optionalDictionary(arguments[0]));
       }},
      {"att-wait",
       "waits for the consent answer",
       {{Kind::number, true, "SECONDS"}},
       {},
       [](Session& session, const Arguments& arguments) {
         session.sdk().waitForATTUserAuthorizationWithTimeoutInterval(arguments[0]->doubleValue());
       }},
  };
}

/// What the device or a companion SDK answers from now on.
std::vector<Command> deviceCommands() {
  return {
      {"facebook-class",
       "registers the app-link class and its answer",
       {{Kind::json, false, "JSON"}},
       objectAt(0),
       [](Session& session, const Arguments& arguments) { session.registerFacebookClass(dictionaryOf(arguments[0])); }},
      {"profile",
       "merges into the device profile",
       {{Kind::json, true, "JSON"}},
       objectAt(0),
       [](Session& session, const Arguments& arguments) {
         session.platform().mergeDeviceProfile(dictionaryOf(arguments[0]));
       }},
  };
}

std::vector<Command> scriptCommands() {
  return {
      {"sleep",
       "lets time pass",
       {{Kind::number, true, "SECONDS"}},
       {},
       [](Session& session, const Arguments& arguments) { session.sleep(arguments[0]->doubleValue()); }},
      {"await",
       "waits for an output line",
       {{Kind::word, true, "NAME"}, {Kind::number, false, "SECONDS"}},
       {},
       [](Session& session, const Arguments& arguments) {
         session.await(textOf(arguments[0]), numberOr(arguments[1], defaultAwait));
       }},
      {"idle",
       "waits until the library rests",
       {{Kind::number, false, "SECONDS"}},
       {},
       [](Session& session, const Arguments& arguments) { session.idle(numberOr(arguments[0], defaultIdle)); }},
      {"quit", "ends at once, in order", {}, {}, [](Session& session, const Arguments&) { session.quit(); }},
  };
}

}  // namespace

const std::vector<Command>& commands() {
  static const std::vector<Command> all = [] {
    std::vector<Command> list = lifecycleCommands();
    for (const auto& more : {sdkCommands(), deviceCommands(), linkCommands(), revenueCommands(), scriptCommands()})
      list.insert(list.end(), more.begin(), more.end());
    return list;
  }();
  return all;
}

}  // namespace trovix::host
