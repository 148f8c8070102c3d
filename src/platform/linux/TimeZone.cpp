#include "platform/linux/TimeZone.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string_view>

namespace trovix::platform {
namespace {

constexpr std::streamsize maximumZoneFileSize = std::streamsize{1024} * 1024;
constexpr std::size_t headerSize = 44;

bool isZoneName(std::string_view name) {
  const bool isPlain = std::all_of(name.begin(), name.end(), [](unsigned char c) {
    return std::isalnum(c) != 0 || c == '/' || c == '_' || c == '-' || c == '+' || c == '.';
  });
  return isPlain && !name.empty() && name.front() != '/' && name.find("..") == std::string_view::npos;
}

Data readZoneFile(const std::string& name) {
  const char* directory = std::getenv("TZDIR");
  const std::string path = std::string(directory != nullptr ? directory : "/usr/share/zoneinfo") + "/" + name;
  std::error_code failure;
  if (!std::filesystem::is_regular_file(path, failure)) return {};
  std::ifstream file(path, std::ios::binary);
  Data bytes(maximumZoneFileSize);
  file.read(reinterpret_cast<char*>(bytes.data()), maximumZoneFileSize);
  bytes.resize(static_cast<std::size_t>(std::max<std::streamsize>(file.gcount(), 0)));
  return bytes;
}

/// A big-endian number of 4 or 8 bytes.
std::int64_t number(const std::uint8_t* bytes, std::size_t size) {
  std::uint64_t value = 0;
  for (std::size_t i = 0; i < size; ++i) value = value << 8U | bytes[i];
  return size == 4 ? static_cast<std::int32_t>(static_cast<std::uint32_t>(value)) : static_cast<std::int64_t>(value);
}

/// What one block of a compiled zone counts.
struct Header {
  explicit Header(const std::uint8_t* bytes)
      : isUtcCount(count(bytes, 0)),
        isStandardCount(count(bytes, 1)),
        leapCount(count(bytes, 2)),
        timeCount(count(bytes, 3)),
        typeCount(count(bytes, 4)),
        nameSize(count(bytes, 5)) {}

  [[nodiscard]] std::size_t blockSize(std::size_t timeSize) const {
    return timeCount * (timeSize + 1) + typeCount * 6 + nameSize + leapCount * (timeSize + 4) + isStandardCount +
           isUtcCount;
  }

  std::size_t isUtcCount, isStandardCount, leapCount, timeCount, typeCount, nameSize;

 private:
  static std::size_t count(const std::uint8_t* bytes, std::size_t index) {
    return static_cast<std::uint32_t>(number(bytes + 20 + index * 4, 4));
  }
};

}  // namespace

/// Fills a zone from the block of a compiled one.
class TimeZoneFile {
 public:
  static bool fill(TimeZone& zone, const std::uint8_t* block, const Header& header, std::size_t timeSize) {
    const std::uint8_t* indexes = block + header.timeCount * timeSize;
    const std::uint8_t* types = indexes + header.timeCount;
    if (header.typeCount == 0) return false;
    const auto offsetOfType = [&](std::size_t type) { return static_cast<std::int32_t>(number(types + type * 6, 4)); };
    zone.firstOffset_ = offsetOfType(0);
    for (std::size_t i = 0; i < header.timeCount; ++i) {
      const std::int64_t moment = number(block + i * timeSize, timeSize);
      const bool isInOrder = zone.moments_.empty() || moment > zone.moments_.back();
      if (!isInOrder || indexes[i] >= header.typeCount) return false;
      zone.moments_.push_back(moment);
      zone.offsets_.push_back(offsetOfType(indexes[i]));
    }
    return true;
  }

  /// The rule between two line feeds behind the last block.
  static void readFooter(TimeZone& zone, std::string_view footer) {
    if (footer.size() < 2 || footer.front() != '\n') return;
    footer.remove_prefix(1);
    zone.rule_ = PosixTimeZone::parse(footer.substr(0, footer.find('\n')));
  }
};

std::shared_ptr<const TimeZone> TimeZone::named(const std::string& name) {
  if (isZoneName(name)) {
    if (auto zone = parse(readZoneFile(name))) return zone;
  }
  auto zone = std::make_shared<TimeZone>();
  zone->rule_ = PosixTimeZone::parse(name);
  return zone->rule_ ? zone : nullptr;
}

std::shared_ptr<const TimeZone> TimeZone::parse(const Data& file) {
  const auto isHeader = [&](std::size_t at) {
    return file.size() >= at + headerSize && std::memcmp(file.data() + at, "TZif", 4) == 0;
  };
  if (!isHeader(0)) return nullptr;
  std::size_t timeSize = 4;
  std::size_t begin = headerSize;
  Header header(file.data());
  // From version 2 on the old block is followed by one with wider times.
  if (file[4] >= '2') {
    const std::size_t second = headerSize + header.blockSize(4);
    if (!isHeader(second)) return nullptr;
    header = Header(file.data() + second);
    timeSize = 8;
    begin = second + headerSize;
  }
  const std::size_t end = begin + header.blockSize(timeSize);
  if (end > file.size()) return nullptr;
  auto zone = std::make_shared<TimeZone>();
  if (!TimeZoneFile::fill(*zone, file.data() + begin, header, timeSize)) return nullptr;
  if (timeSize == 8) {
    TimeZoneFile::readFooter(*zone, {reinterpret_cast<const char*>(file.data()) + end, file.size() - end});
  }
  return zone;
}

std::int32_t TimeZone::offsetAt(std::int64_t moment) const noexcept {
  if (rule_ && (moments_.empty() || moment >= moments_.back())) return rule_->offsetAt(moment);
  const auto next = std::upper_bound(moments_.begin(), moments_.end(), moment);
  return next == moments_.begin() ? firstOffset_ : offsets_[static_cast<std::size_t>(next - moments_.begin()) - 1];
}

}  // namespace trovix::platform
