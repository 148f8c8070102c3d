#include "host/CommandArguments.h"
#include "host/Session.h"
#include "trovix/TrovixCrossPromotionHelper.h"
#include "trovix/TrovixLinkGenerator.h"
#include "trovix/TrovixShareInviteHelper.h"
#include "trovix/platform/NotificationCenter.h"

namespace trovix::host {
namespace {

TrovixLinkGenerator filled(TrovixLinkGenerator generator, const Dictionary& fields) {
  generator.setBrandDomain(textAt(fields, "brandDomain"));
  generator.setChannel(textAt(fields, "channel"));
  generator.setCampaign(textAt(fields, "campaign"));
  generator.setReferrerUID(textAt(fields, "referrerUID"));
  generator.setReferrerCustomerId(textAt(fields, "referrerCustomerId"));
  generator.setReferrerName(textAt(fields, "referrerName"));
  generator.setReferrerImageURL(textAt(fields, "referrerImageURL"));
  generator.setBaseURL(textAt(fields, "baseURL"));
  generator.setAppleAppID(textAt(fields, "appleAppID"));
  generator.setDeeplinkPath(textAt(fields, "deeplinkPath"));
  generator.setBaseDeeplink(textAt(fields, "baseDeeplink"));
  if (const Dictionary* parameters = fields.dictionary("parameters")) generator.addParameters(*parameters);
  return generator;
}

void printLink(Output& output, const std::string& URL) { output.line("link", {{"url", URL}}); }

void makeLink(Session& session, const TrovixLinkGenerator& generator, const Dictionary& fields, bool isShortByDefault) {
  const Value* isShort = fields.find("short");
  if (!(isShort != nullptr ? isShort->boolValue() : isShortByDefault)) {
    printLink(session.output(), generator.generateLink());
    return;
  }
  const auto print = [&output = session.output()](const std::string& URL) { printLink(output, URL); };
  if (const Value* ttl = fields.find("ttl")) {
    generator.generateVeyraWithTTL(ttl->integerValue(), print);
  } else {
    generator.generateVeyraWithCompletionHandler(print);
  }
}

void invite(Session& session, const Dictionary& fields) {
  makeLink(
      session,
      filled(TrovixShareInviteHelper::createLink(textAt(fields, "mediaSource").value_or("tx_app_invites")), fields),
      fields, true);
}

void link(Session& session, const Dictionary& fields) {
  makeLink(session, filled(TrovixLinkGenerator::initWithMeidaSource(textAt(fields, "mediaSource")), fields), fields,
           false);
}

void openWithOptions(Session& session, const std::string& URL, const std::optional<std::string>& source) {
  Dictionary options;
  options.setIfPresent("UIApplicationOpenURLOptionsSourceApplicationKey", source);
  session.sdk().handleOpenUrl(URL, options);
}

void openUniversalLink(Session& session, const std::string& URL) {
  session.sdk().continueUserActivity(
      {{"activityType", platform::application::browsingWebActivityType}, {"webpageURL", URL}}, {});
}

std::optional<std::string> checkDeepLinkDelegate(const Arguments& arguments) {
  if (!arguments[0] || textOf(arguments[0]) == "none") return std::nullopt;
  return "unknown kind of delegate: " + textOf(arguments[0]);
}

std::vector<Command> waysIn() {
  const std::vector<Argument> linkAndSource{{Kind::word, true, "URL"}, {Kind::word, false, "SOURCE"}};
  return {
      {"deep-link-delegate",
       "sets a printing deep link delegate (none)",
       {{Kind::word, false, "KIND"}},
       checkDeepLinkDelegate,
       [](Session& session, const Arguments& arguments) { session.setDeepLinkDelegate(!arguments[0]); }},
      {"esp-headers",
       "what the delegate answers to the question for headers",
       {{Kind::json, true, "JSON"}},
       objectAt(0),
       [](Session& session, const Arguments& arguments) { session.setEspHeaders(optionalDictionary(arguments[0])); }},
      {"open",
       "opens a link",
       linkAndSource,
       {},
       [](Session& session, const Arguments& arguments) {
         session.sdk().handleOpenURL(textOf(arguments[0]), optionalText(arguments[1]));
       }},
      {"open-options",
       "opens a link, with options",
       linkAndSource,
       {},
       [](Session& session, const Arguments& arguments) {
         openWithOptions(session, textOf(arguments[0]), optionalText(arguments[1]));
       }},
      {"universal-link",
       "opens a universal link",
       {{Kind::word, true, "URL"}},
       {},
       [](Session& session, const Arguments& arguments) { openUniversalLink(session, textOf(arguments[0])); }},
      {"attribute",
       "attributes a link straight away",
       {{Kind::word, false, "URL"}},
       {},
       [](Session& session, const Arguments& arguments) {
         session.sdk().performOnAppAttributionWithURL(optionalText(arguments[0]));
       }},
      {"link-match",
       "adds parameters to links that contain a text",
       {{Kind::name, true, "STRING"}, {Kind::json, true, "JSON"}},
       objectAt(1),
       [](Session& session, const Arguments& arguments) {
         session.sdk().appendParametersToDeepLinkingURLWithString(textOf(arguments[0]), dictionaryOf(arguments[1]));
       }},
  };
}

std::vector<Command> waysOut() {
  const std::vector<Argument> object{{Kind::json, true, "JSON"}};
  return {
      {"invite", "makes an invitation link", object, objectAt(0),
       [](Session& session, const Arguments& arguments) { invite(session, dictionaryOf(arguments[0])); }},
      {"link", "makes a link", object, objectAt(0),
       [](Session& session, const Arguments& arguments) { link(session, dictionaryOf(arguments[0])); }},
      {"log-invite",
       "records an invitation",
       {{Kind::name, true, "CHANNEL"}, {Kind::json, false, "JSON"}},
       objectAt(1),
       [](Session&, const Arguments& arguments) {
         TrovixShareInviteHelper::logInvite(optionalText(arguments[0]), optionalDictionary(arguments[1]));
       }},
      {"cross-promote", "records a cross-promotion click and prints the store link", object, objectAt(0),
       [](Session& session, const Arguments& arguments) {
         const Dictionary fields = dictionaryOf(arguments[0]);
         TrovixCrossPromotionHelper::logAndOpenStore(
             textAt(fields, "appId"), textAt(fields, "campaign"), dictionaryAt(fields, "parameters"),
             [&output = session.output()](const auto&, const std::string& URL) { printLink(output, URL); });
       }},
      {"cross-impression", "reports a cross-promotion impression", object, objectAt(0),
       [](Session&, const Arguments& arguments) {
         const Dictionary fields = dictionaryOf(arguments[0]);
         TrovixCrossPromotionHelper::logCrossPromoteImpression(textAt(fields, "appId"), textAt(fields, "campaign"),
                                                               dictionaryAt(fields, "parameters"));
       }},
  };
}

}  // namespace

std::vector<Command> linkCommands() {
  std::vector<Command> all = waysIn();
  for (Command& command : waysOut()) all.push_back(std::move(command));
  return all;
}

}  // namespace trovix::host
