#include <algorithm>

#include "platform/KeyedHash.h"
#include "trovix/Value.h"

namespace trovix {
namespace {

// Up to here comparing keys one after another beats hashing them.
constexpr std::size_t kLargestUnindexed = 16;
constexpr std::size_t kMissing = std::string::npos;

}  // namespace

Dictionary::Dictionary() = default;
Dictionary::Dictionary(const Dictionary&) = default;
Dictionary::Dictionary(Dictionary&&) noexcept = default;
Dictionary& Dictionary::operator=(const Dictionary&) = default;
Dictionary& Dictionary::operator=(Dictionary&&) noexcept = default;
Dictionary::~Dictionary() = default;

Dictionary::Dictionary(std::initializer_list<Entry> entries) {
  reserve(entries.size());
  for (const Entry& entry : entries) set(entry.first, entry.second);
}

std::size_t Dictionary::size() const noexcept { return entries_.size(); }
bool Dictionary::empty() const noexcept { return entries_.empty(); }
Dictionary::const_iterator Dictionary::begin() const noexcept { return entries_.begin(); }
Dictionary::const_iterator Dictionary::end() const noexcept { return entries_.end(); }
void Dictionary::reserve(std::size_t count) { entries_.reserve(count); }

std::size_t Dictionary::indexOf(std::string_view key) const noexcept {
  if (index_.empty()) {
    for (std::size_t i = 0; i < entries_.size(); ++i) {
      if (entries_[i].first == key) return i;
    }
    return kMissing;
  }
  const std::size_t mask = index_.size() - 1;
  for (std::size_t slot = platform::keyedHash(key) & mask; index_[slot] != 0; slot = (slot + 1) & mask) {
    const std::size_t position = index_[slot] - 1;
    if (entries_[position].first == key) return position;
  }
  return kMissing;
}

void Dictionary::rebuildIndex() {
  index_.clear();
  if (entries_.size() <= kLargestUnindexed) return;
  std::size_t slots = 64;
  while (slots < entries_.size() * 4) slots *= 2;
  index_.resize(slots);
  for (std::size_t position = 0; position < entries_.size(); ++position) appendToIndex(position);
}

void Dictionary::appendToIndex(std::size_t position) {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = platform::keyedHash(entries_[position].first) & mask;
  while (index_[slot] != 0) slot = (slot + 1) & mask;
  index_[slot] = static_cast<std::uint32_t>(position + 1);
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const std::size_t position = indexOf(key);
  return position == kMissing ? nullptr : &entries_[position].second;
}

Value* Dictionary::find(std::string_view key) noexcept {
  const std::size_t position = indexOf(key);
  return position == kMissing ? nullptr : &entries_[position].second;
}

void Dictionary::set(std::string_view key, Value value) {
  if (Value* existing = find(key)) {
    *existing = std::move(value);
    return;
  }
  entries_.emplace_back(std::string(key), std::move(value));
  // At least every second slot stays free, so that runs are short.
  if (entries_.size() > kLargestUnindexed && entries_.size() * 2 > index_.size()) {
    rebuildIndex();
  } else if (!index_.empty()) {
    appendToIndex(entries_.size() - 1);
  }
}

void Dictionary::merge(const Dictionary& other) {
  if (&other == this) return;
  for (const Entry& entry : other) set(entry.first, entry.second);
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t position = indexOf(key);
  if (position == kMissing) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
  rebuildIndex();
  return true;
}

void Dictionary::clear() noexcept {
  entries_.clear();
  index_.clear();
}

const std::string* Dictionary::string(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->string();
}

const Dictionary* Dictionary::dictionary(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->dictionary();
}

const Array* Dictionary::array(std::string_view key) const noexcept {
  const Value* value = find(key);
  return value == nullptr ? nullptr : value->array();
}

bool operator==(const Dictionary& a, const Dictionary& b) {
  if (a.size() != b.size()) return false;
  return std::all_of(a.begin(), a.end(), [&](const Dictionary::Entry& entry) {
    const Value* other = b.find(entry.first);
    return other != nullptr && *other == entry.second;
  });
}

}  // namespace trovix
