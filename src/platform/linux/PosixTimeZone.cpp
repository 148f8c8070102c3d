#include "platform/linux/PosixTimeZone.h"

#include <cctype>

namespace trovix::platform {
namespace {

constexpr std::int64_t secondsPerDay = 86400;
constexpr std::int32_t maximumHours = 167;

bool isLeapYear(std::int64_t year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

/// Days from 1970-01-01 to the date, in the calendar of today.
std::int64_t daysFromCivil(std::int64_t year, std::int64_t month, std::int64_t day) {
  year -= month <= 2 ? 1 : 0;
  const std::int64_t era = (year >= 0 ? year : year - 399) / 400;
  const std::int64_t yearOfEra = year - era * 400;
  const std::int64_t dayOfYear = (153 * (month + (month > 2 ? -3 : 9)) + 2) / 5 + day - 1;
  const std::int64_t dayOfEra = yearOfEra * 365 + yearOfEra / 4 - yearOfEra / 100 + dayOfYear;
  return era * 146097 + dayOfEra - 719468;
}

std::int64_t floorDivide(std::int64_t a, std::int64_t b) { return a / b - (a % b < 0 ? 1 : 0); }

std::int64_t yearOf(std::int64_t localSeconds) {
  const std::int64_t days = floorDivide(localSeconds, secondsPerDay) + 719468;
  const std::int64_t era = floorDivide(days, 146097);
  const std::int64_t dayOfEra = days - era * 146097;
  const std::int64_t yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
  const std::int64_t dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100);
  return yearOfEra + era * 400 + (dayOfYear >= 306 ? 1 : 0);
}

/// Local time of the change, as seconds since 1970 of a clock that is not shifted.
std::int64_t momentIn(std::int64_t year, const PosixTimeZone::Change& change) {
  std::int64_t day = 0;
  switch (change.kind) {
    case PosixTimeZone::Change::Kind::julian:
      day = daysFromCivil(year, 1, 1) + change.day - 1 + (isLeapYear(year) && change.day >= 60 ? 1 : 0);
      break;
    case PosixTimeZone::Change::Kind::dayOfYear:
      day = daysFromCivil(year, 1, 1) + change.day;
      break;
    case PosixTimeZone::Change::Kind::weekday: {
      const std::int64_t first = daysFromCivil(year, change.month, 1);
      const std::int64_t next =
          change.month == 12 ? daysFromCivil(year + 1, 1, 1) : daysFromCivil(year, change.month + 1, 1);
      // 1970-01-01 was a Thursday.
      const std::int64_t firstWeekday = ((first + 4) % 7 + 7) % 7;
      day = first + (change.day - firstWeekday + 7) % 7 + (change.week - 1) * std::int64_t{7};
      if (day >= next) day -= 7;
      break;
    }
  }
  return day * secondsPerDay + change.seconds;
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
  // Far beyond any date that is asked for, and small enough for the arithmetic below.
  constexpr std::int64_t furthest = std::int64_t{1} << 50;
  if (!hasSummerTime_ || moment < -furthest || moment > furthest) return standardOffset_;
  const std::int64_t year = yearOf(moment + standardOffset_);
  const std::int64_t begin = momentIn(year, begin_) - standardOffset_;
  const std::int64_t end = momentIn(year, end_) - summerOffset_;
  // South of the equator summer time spans the new year.
  const bool isSummer = begin < end ? moment >= begin && moment < end : moment >= begin || moment < end;
  return isSummer ? summerOffset_ : standardOffset_;
}

}  // namespace trovix::platform
