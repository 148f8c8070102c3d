#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "torture/Lives.h"

namespace trovix::torture {

/// What becomes of the values in the application's store.
enum class StoreFate : std::uint8_t {
  kept,
  /// Out of reach for as long as the damage lasts.
  hidden,
  lost,
  /// Damage that shows, or does not.
  uncertain,
};

/// Something that happens to the files of a device between two lives of an application, or to the disk under one.
struct Damage {
  std::string name = {};
  /// Done to the data directory before the life that suffers from it, and undone after it.
  std::function<void(const std::string& data)> apply = {};
  std::function<void(const std::string& data)> heal = {};
  /// What is particular about that life.
  LifeStory story = {};
  /// The store, relative to the data directory, that must be set aside.
  std::string setAside = {};
  StoreFate fate = StoreFate::kept;
  /// The application has lived before, and has left requests in the cache.
  bool isUsed = true;
  bool isGrouped = false;
  /// The server cannot be reached by the life that suffers.
  bool isOffline = false;
};

inline constexpr const char* groupName = "group.com.example.shop";
inline constexpr const char* standardStore = "app/Library/Preferences/standard.sqlite";
inline constexpr const char* keychainStore = "keychain/keychain.sqlite";
inline constexpr const char* keychainKey = "keychain/keychain.key";
inline constexpr const char* groupStore = "group/group.com.example.shop.sqlite";

/// All of them. `seed` decides about the bytes of those that are random.
[[nodiscard]] std::vector<Damage> everyDamage(std::uint32_t seed);

}  // namespace trovix::torture
