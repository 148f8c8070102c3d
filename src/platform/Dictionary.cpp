#include <algorithm>

#include "platform/KeyedHash.h"
#include "trovix/Value.h"

namespace trovix {
namespace {

// Up to here comparing keys one after another beats hashing them.
constexpr std::size_t largestUnindexed = 16;
constexpr std::size_t missing = std::string::npos;

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
void Dictionary::reserve(std::size_t count) {
  entries_.reserve(count);
  if (count > largestUnindexed && count * 2 > index_.size()) rebuildIndex(count);
}

std::size_t Dictionary::indexOf(std::string_view key) const noexcept {
  if (!index_.empty()) return positionAt(slotOf(key));
  for (std::size_t i = 0; i < entries_.size(); ++i) {
    if (entries_[i].first == key) return i;
  }
  return missing;
}

std::size_t Dictionary::slotOf(std::string_view key) const noexcept {
  const std::size_t mask = index_.size() - 1;
  std::size_t slot = platform::keyedHash(key) & mask;
  while (index_[slot] != 0 && entries_[index_[slot] - 1].first != key) slot = (slot + 1) & mask;
  return slot;
}

std::size_t Dictionary::positionAt(std::size_t slot) const noexcept {
  return index_[slot] == 0 ? missing : index_[slot] - 1;
}

void Dictionary::rebuildIndex(std::size_t expected) {
  index_.clear();
  if (expected <= largestUnindexed) return;
  std::size_t slots = 64;
  while (slots < expected * 4) slots *= 2;
  index_.resize(slots);
  for (std::size_t position = 0; position < entries_.size(); ++position) {
    index_[slotOf(entries_[position].first)] = static_cast<std::uint32_t>(position + 1);
  }
}

const Value* Dictionary::find(std::string_view key) const noexcept {
  const std::size_t position = indexOf(key);
  return position == missing ? nullptr : &entries_[position].second;
}

Value* Dictionary::find(std::string_view key) noexcept {
  const std::size_t position = indexOf(key);
  return position == missing ? nullptr : &entries_[position].second;
}

void Dictionary::set(std::string_view key, Value value) {
  // At least every second slot is free, so that runs are short.
  const std::size_t needed = entries_.size() + 1;
  if (needed > largestUnindexed && needed * 2 > index_.size()) rebuildIndex(needed);
  const std::size_t slot = index_.empty() ? 0 : slotOf(key);
  const std::size_t position = index_.empty() ? indexOf(key) : positionAt(slot);
  if (position != missing) {
    entries_[position].second = std::move(value);
    return;
  }
  entries_.emplace_back(std::string(key), std::move(value));
  if (!index_.empty()) index_[slot] = static_cast<std::uint32_t>(entries_.size());
}

void Dictionary::merge(const Dictionary& other) {
  if (&other == this) return;
  for (const Entry& entry : other) set(entry.first, entry.second);
}

bool Dictionary::remove(std::string_view key) {
  const std::size_t position = indexOf(key);
  if (position == missing) return false;
  entries_.erase(entries_.begin() + static_cast<std::ptrdiff_t>(position));
  rebuildIndex(entries_.size());
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
