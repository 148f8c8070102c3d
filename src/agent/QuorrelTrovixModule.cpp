#include "agent/QuorrelTrovixModule.h"

#include "trovix/Json.h"
#include "trovix/TrovixLib.h"
#include "trovix/platform/SystemLog.h"

namespace quorrel {

using trovix::Dictionary;
using trovix::Error;
using trovix::TrovixLibDelegate;
using trovix::platform::MutexLock;

QuorrelTrovixModule::QuorrelTrovixModule(QuorrelTrovixConfig config, Surroundings surroundings)
    : config_(std::move(config)), surroundings_(std::move(surroundings)) {}

void QuorrelTrovixModule::prepare() {
  trovix::TrovixLib& sdk = surroundings_.sdk;
  sdk.setTrovixDevKey(config_.devKey());
  sdk.setAppleAppID(trovix::Value(config_.appId()));
  delegate_ = makeDelegate();
  sdk.setDelegate(delegate_);
  sdk.start();
  surroundings_.keep(surroundings_.platform.notificationCenter.addObserver(
      trovix::platform::application::didBecomeActive, [&sdk](const auto&) { sdk.start(); }));
  surroundings_.platform.systemLog.write("Starting TrovixLib...");
}

std::shared_ptr<TrovixLibDelegate> QuorrelTrovixModule::makeDelegate() {
  auto delegate = std::make_shared<TrovixLibDelegate>();
  const std::weak_ptr<QuorrelTrovixModule> weak = weak_from_this();
  delegate->className = "QuorrelTrovixModule";
  delegate->onConversionDataSuccess = [weak](const Dictionary& data) {
    if (const auto self = weak.lock()) self->deliver("onConversionDataSuccess", data);
  };
  delegate->onConversionDataFail = [weak](const Error& error) {
    if (const auto self = weak.lock()) self->report("onConversionDataFail", error);
  };
  delegate->onAppOpenAttribution = [weak](const Dictionary& data) {
    if (const auto self = weak.lock()) self->deliver("onAppOpenAttribution", data);
  };
  delegate->onAppOpenAttributionFailure = [weak](const Error& error) {
    if (const auto self = weak.lock()) self->report("onAppOpenAttributionFailure", error);
  };
  return delegate;
}

void QuorrelTrovixModule::deliver(const char* operation, const Dictionary& data) {
  surroundings_.platform.systemLog.write(std::string("QuorrelTrovixModule: ") + operation + " - " +
                                         trovix::description(data));
  {
    const MutexLock lock(mutex_);
    trovixConversion_ = data;
  }
  attributionChanged();
}

void QuorrelTrovixModule::report(const char* operation, const Error& error) const {
  surroundings_.platform.systemLog.write(std::string("QuorrelTrovixModule: ") + operation + " - " +
                                         error.description());
}

ModuleStatus QuorrelTrovixModule::status() const {
  const MutexLock lock(mutex_);
  return trovixConversion_ ? ModuleStatus::delivered : ModuleStatus::waiting;
}

std::optional<std::string> QuorrelTrovixModule::attribution() const {
  const MutexLock lock(mutex_);
  return trovixConversion_ ? trovix::jsonText(*trovixConversion_) : std::nullopt;
}

std::optional<std::string> QuorrelTrovixModule::trackerId() const { return surroundings_.sdk.getTrovixUID(); }

void QuorrelTrovixModule::attributionChanged() { surroundings_.publish({config_.sourceType(), attribution()}); }

}  // namespace quorrel
