#include "torture/Damages.h"

#include <fmt/core.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <memory>
#include <random>
#include <utility>

#include "linux/TemporaryDirectory.h"

namespace trovix::torture {
namespace {

namespace fs = std::filesystem;
using platform::contentOf;
using platform::overwrite;

constexpr std::size_t largestCut = 16'384;
constexpr int foreignFiles = 10'000;

std::string randomBytes(std::uint32_t seed, std::size_t count) {
  std::mt19937 random(seed);
  std::string bytes(count, '\0');
  std::ranges::generate(bytes, [&] { return static_cast<char>(random()); });
  return bytes;
}

void cutFile(const fs::path& file, std::size_t size) {
  if (fs::file_size(file) > size) fs::resize_file(file, size);
}

void makeDirectoryOf(const fs::path& file) {
  fs::remove_all(file);
  fs::create_directories(file / "inside");
}

void makeFileOf(const fs::path& directory) {
  fs::remove_all(directory);
  overwrite(directory, "in the way");
}

/// Its owner may read and search, and nobody may write.
void setWritable(const std::string& data, bool isWritable) {
  constexpr fs::perms writing = fs::perms::owner_write;
  constexpr fs::perms everybodyReads = fs::perms::owner_read | fs::perms::group_read | fs::perms::others_read |
                                       fs::perms::owner_exec | fs::perms::group_exec | fs::perms::others_exec;
  const auto change = [&](const fs::path& path) {
    fs::permissions(path, isWritable ? everybodyReads | writing : everybodyReads);
  };
  change(data);
  for (const auto& entry : fs::recursive_directory_iterator(data)) change(entry.path());
}

void addStoreDamages(std::vector<Damage>& damages, Damage base, const std::string& store, std::uint32_t seed) {
  const auto add = [&](std::string what, const std::string& setAside, std::function<void(const fs::path&)> apply) {
    Damage damage = base;
    damage.name = store + " " + std::move(what);
    damage.setAside = setAside;
    damage.apply = [store, apply = std::move(apply)](const std::string& data) { apply(data + "/" + store); };
    damages.push_back(std::move(damage));
  };
  // To SQLite, a file of one byte is empty, and so a new one.
  for (const std::size_t size : {0U, 1U}) {
    add(fmt::format("is cut at {}", size), "", [size](const fs::path& file) { cutFile(file, size); });
  }
  for (std::size_t size = 2; size <= largestCut; size *= 2) {
    add(fmt::format("is cut at {}", size), store, [size](const fs::path& file) { cutFile(file, size); });
  }
  for (std::uint32_t i = 0; i < 3; ++i) {
    const std::size_t size = std::size_t{100} << (3 * i);
    add(fmt::format("is {} random bytes", size), store,
        [=](const fs::path& file) { overwrite(file, randomBytes(seed + i, size)); });
  }
  base.fate = StoreFate::uncertain;
  for (std::uint32_t i = 0; i < 8; ++i) {
    add(fmt::format("has a wrong byte, {}", i), "", [=](const fs::path& file) {
      std::string bytes = contentOf(file);
      std::mt19937 random(seed + i);
      bytes[random() % bytes.size()] ^= static_cast<char>(1 + random() % 255);
      overwrite(file, bytes);
    });
  }
}

void addReplacements(std::vector<Damage>& damages) {
  struct Replaced {
    const char* path;
    bool isDirectory;
    StoreFate fate;
  };
  constexpr Replaced replacements[] = {
      {standardStore, true, StoreFate::hidden},
      {"app/Library/Preferences/standard.sqlite-wal", true, StoreFate::hidden},
      {"app/Library/Preferences/standard.sqlite-shm", true, StoreFate::hidden},
      {"app/Library/Preferences", false, StoreFate::lost},
      {"app/Library/Caches/trovix-v1", false, StoreFate::kept},
      {"app/Library/Caches", false, StoreFate::kept},
      {"app/tmp", false, StoreFate::kept},
      {"app", false, StoreFate::lost},
      {keychainStore, true, StoreFate::kept},
      {keychainKey, true, StoreFate::kept},
      {"keychain", false, StoreFate::kept},
  };
  for (const Replaced& replaced : replacements) {
    const std::string path = std::string("/") + replaced.path;
    const std::string saved = "/saved";
    Damage damage{
        .name = fmt::format("a {} in place of {}", replaced.isDirectory ? "directory" : "file", replaced.path),
        .fate = replaced.fate};
    const bool isFile = replaced.isDirectory;
    damage.apply = [=](const std::string& data) {
      if (isFile && fs::exists(data + path)) fs::copy(data + path, data + saved);
      isFile ? makeDirectoryOf(data + path) : makeFileOf(data + path);
    };
    damage.heal = [=](const std::string& data) {
      fs::remove_all(data + path);
      if (fs::exists(data + saved)) fs::rename(data + saved, data + path);
    };
    damages.push_back(std::move(damage));
  }
}

/// Every waiting request but the last ones is damaged in a way of its own.
void damageRequests(const std::string& data, std::uint32_t seed) {
  std::vector<fs::path> files;
  for (const auto& entry : fs::directory_iterator(cacheOf(data))) files.push_back(entry.path());
  std::ranges::sort(files);
  std::vector<std::function<void(const fs::path&)>> ways = {
      [=](const fs::path& file) { overwrite(file, randomBytes(seed, 3000)); },
      [](const fs::path& file) { fs::remove(file), fs::create_directory(file); },
      [](const fs::path& file) { makeDirectoryOf(file); },
      [](const fs::path& file) { fs::remove(file), fs::create_symlink(file, file); },
      [](const fs::path& file) { fs::remove(file), ::mkfifo(file.c_str(), 0600); },
      [](const fs::path& file) { fs::resize_file(file, std::uintmax_t{1} << 30); },
      [=](const fs::path& file) { fs::remove(file), fs::create_directory_symlink(fs::path(data) / "outside", file); },
      [](const fs::path& file) { overwrite(file, "<plist><dict><key>.DATA</key>" + std::string(100'000, '<')); },
  };
  ways.emplace_back([](const fs::path& file) { cutFile(file, 0); });
  for (std::size_t size = 1; size <= 2048; size *= 2) {
    ways.emplace_back([size](const fs::path& file) { cutFile(file, size); });
  }
  fs::create_directory(data + "/outside");
  overwrite(data + "/outside/precious", "of another application");
  for (std::size_t i = 0; i < ways.size() && i + 2 < files.size(); ++i) ways[i](files[i]);
}

void addForeignFiles(const std::string& data, std::uint32_t seed) {
  std::mt19937 random(seed);
  for (int i = 0; i < foreignFiles; ++i) {
    const char* const ending = random() % 2 == 0 ? "plist" : "tmp";
    overwrite(fmt::format("{}/{}.{:04}.{}", cacheOf(data), random(), i % 10'000, ending),
              randomBytes(seed, random() % 64));
  }
}

void addDisksWithoutRoom(std::vector<Damage>& damages) {
  for (const bool isOffline : {false, true}) {
    const char* const where = isOffline ? ", without a server" : "";
    for (const bool isUsed : {false, true}) {
      for (int limit = 0; limit <= 65'536; limit = limit == 0 ? 512 : limit * 2) {
        damages.push_back(
            {.name = fmt::format("no file beyond {} bytes, {}{}", limit, isUsed ? "used" : "fresh", where),
             .story = {{"fileSizeLimit", limit}},
             .isUsed = isUsed,
             .isOffline = isOffline});
      }
    }
    for (const int failEvery : {1, 2, 3, 7}) {
      damages.push_back({.name = fmt::format("every change of {} fails{}", failEvery, where),
                         .story = {{"failEvery", failEvery}},
                         .isOffline = isOffline});
    }
  }
}

}  // namespace

std::vector<Damage> everyDamage(std::uint32_t seed) {
  std::vector<Damage> damages;
  addStoreDamages(damages, {.fate = StoreFate::lost}, standardStore, seed);
  addStoreDamages(damages, {}, keychainStore, seed);
  // A lost group store is filled again from the application's own.
  addStoreDamages(damages, {.isGrouped = true}, groupStore, seed);
  addReplacements(damages);
  addDisksWithoutRoom(damages);
  for (const std::size_t size : {0U, 1U, 31U, 33U, 4096U}) {
    damages.push_back(
        {.name = fmt::format("{} has {} bytes", keychainKey, size),
         .apply = [=](const std::string& data) { overwrite(data + "/" + keychainKey, randomBytes(seed, size)); }});
  }
  damages.push_back({.name = "everything is read-only",
                     .apply = [](const std::string& data) { setWritable(data, false); },
                     .heal = [](const std::string& data) { setWritable(data, true); },
                     .story = {{"asNobody", true}}});
  damages.push_back(
      {.name = "requests damaged in every way", .apply = [=](const std::string& data) { damageRequests(data, seed); }});
  damages.push_back({.name = fmt::format("{} foreign files in the cache", foreignFiles),
                     .apply = [=](const std::string& data) { addForeignFiles(data, seed); }});
  return damages;
}

}  // namespace trovix::torture
