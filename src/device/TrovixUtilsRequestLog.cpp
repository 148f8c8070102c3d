#include "common/EventOptions.h"
#include "common/Log.h"
#include "device/TrovixUtils.h"

namespace trovix {

namespace {

struct Label {
  std::uint64_t bit;
  std::string_view text;
};

// The first bit that is set decides. Three blanks end every label.
constexpr Label labels[] = {
    {eventOption::TXEventOptionLaunch, "<~+~   SEND Start:   "},
    {eventOption::TXEventOptionFirstLaunch, "<~+~   SEND First Start:   "},
    {eventOption::TXEventOptionInAppEvent, "<~+~   SEND Event:   "},
    {eventOption::TXEventOptionSearchAds, "<~+~   SEND iAd:   "},
    {eventOption::deferredDeepLink, "<~+~   SEND DDL:   "},
};

std::string_view labelOf(std::uint64_t kind) {
  for (const Label& label : labels) {
    if ((kind & label.bit) != 0) return label.text;
  }
  return "<~+~   SEND Other:   ";
}

}  // namespace

void TrovixUtils::logRequestContent(std::uint64_t kind, std::string_view url, std::string_view body) {
  constexpr std::string_view separator = "\n<~+~+~+~+~+~+~+~+~+~+~+~+~+~+~+~+~+~+~~+~>\n";
  TX_LOG(debug, "\n{}{}{}{}\n{}\n{}", separator, labelOf(kind), url, separator, body, separator);
}

}  // namespace trovix
