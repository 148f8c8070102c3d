#include "platform/linux/PosixTimeZone.h"

#include <cctype>
#include <chrono>

namespace trovix::platform {
namespace {

namespace chrono = std::chrono;

constexpr std::int32_t maximumHours = 167;

/// Local time of the change, counted from 1970 by a clock that is not shifted.
chrono::seconds momentIn(chrono::year year, const PosixTimeZone::Change& change) {
  chrono::local_days day{year / chrono::January / 1};
  switch (change.kind) {
    case PosixTimeZone::Change::Kind::julian:
      day += chrono::days{change.day - (year.is_leap() && change.day >= 60 ? 0 : 1)};
      break;
    case PosixTimeZone::Change::Kind::dayOfYear:
      day += chrono::days{change.day};
      break;
    case PosixTimeZone::Change::Kind::weekday: {
      const chrono::year_month month = year / change.month;
      const chrono::weekday weekday(static_cast<unsigned>(change.day));
      const auto week = static_cast<unsigned>(change.week);
      day = week == 5 ? chrono::local_days{month / weekday[chrono::last]} : chrono::local_days{month / weekday[week]};
      break;
    }
  }
  return day.time_since_epoch() + chrono::seconds{change.seconds};
}

/// Reads a rule from its front.
class Reader {
 public:
  explicit Reader(std::string_view text) : rest_(text) {}

  [[nodiscard]] bool atEnd() const { return rest_.empty(); }

  bool take(char expected) {
    if (rest_.empty() || rest_.front() != expected) return false;
    rest_.remove_prefix(1);
    return true;
  }

  /// "CET", or anything in angle brackets.
  bool name() {
    if (take('<')) {
      const std::size_t end = rest_.find('>');
      if (end == std::string_view::npos) return false;
      rest_.remove_prefix(end + 1);
      return true;
    }
    std::size_t length = 0;
    while (length < rest_.size() && std::isalpha(static_cast<unsigned char>(rest_[length])) != 0) ++length;
    rest_.remove_prefix(length);
    return length >= 3;
  }

  bool number(std::int32_t low, std::int32_t high, std::int32_t& value) {
    value = 0;
    bool any = false;
    while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') {
      value = value * 10 + (rest_.front() - '0');
      if (value > high) return false;
      rest_.remove_prefix(1);
      any = true;
    }
    return any && value >= low;
  }

  /// "[+-]hours[:minutes[:seconds]]".
  bool time(std::int32_t& seconds) {
    const bool isNegative = take('-');
    if (!isNegative) take('+');
    std::int32_t hours = 0, minutes = 0, rest = 0;
    if (!number(0, maximumHours, hours)) return false;
    if (take(':') && (!number(0, 59, minutes) || (take(':') && !number(0, 59, rest)))) return false;
    seconds = hours * 3600 + minutes * 60 + rest;
    if (isNegative) seconds = -seconds;
    return true;
  }

  bool change(PosixTimeZone::Change& change) {
    using Kind = PosixTimeZone::Change::Kind;
    if (take('M')) {
      change.kind = Kind::weekday;
      if (!number(1, 12, change.month) || !take('.') || !number(1, 5, change.week) || !take('.') ||
          !number(0, 6, change.day)) {
        return false;
      }
    } else {
      change.kind = take('J') ? Kind::julian : Kind::dayOfYear;
      if (!number(change.kind == Kind::julian ? 1 : 0, 365, change.day)) return false;
    }
    return !take('/') || time(change.seconds);
  }

 private:
  std::string_view rest_;
};

}  // namespace

std::optional<PosixTimeZone> PosixTimeZone::parse(std::string_view text) {
  PosixTimeZone zone;
  Reader reader(text);
  std::int32_t west = 0;
  if (!reader.name() || !reader.time(west)) return std::nullopt;
  zone.standardOffset_ = -west;
  if (reader.atEnd()) return zone;
  if (!reader.name()) return std::nullopt;
  zone.hasSummerTime_ = true;
  zone.summerOffset_ = zone.standardOffset_ + 3600;
  if (!reader.take(',')) {
    if (!reader.time(west) || !reader.take(',')) return std::nullopt;
    zone.summerOffset_ = -west;
  }
  if (!reader.change(zone.begin_) || !reader.take(',') || !reader.change(zone.end_) || !reader.atEnd()) {
    return std::nullopt;
  }
  return zone;
}

std::int32_t PosixTimeZone::offsetAt(std::int64_t moment) const noexcept {
  // No rule is meant for times further off than this.
  constexpr std::int64_t furthest = std::int64_t{1} << 50;
  if (!hasSummerTime_ || moment < -furthest || moment > furthest) return standardOffset_;
  // The calendar repeats itself every 400 years, and its types end with the year 32767.
  const chrono::seconds now = chrono::seconds{moment} % chrono::days{146097};
  const chrono::seconds standard{standardOffset_};
  const chrono::seconds summer{summerOffset_};
  const chrono::year_month_day today{chrono::floor<chrono::days>(chrono::local_seconds{now + standard})};
  const chrono::seconds begin = momentIn(today.year(), begin_) - standard;
  const chrono::seconds end = momentIn(today.year(), end_) - summer;
  // South of the equator summer time spans the new year.
  const bool isSummer = begin < end ? now >= begin && now < end : now >= begin || now < end;
  return isSummer ? summerOffset_ : standardOffset_;
}

}  // namespace trovix::platform
