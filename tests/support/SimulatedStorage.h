#pragma once

#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/SimulatedDisk.h"
#include "trovix/platform/Clock.h"
#include "trovix/platform/FileSystem.h"
#include "trovix/platform/Keychain.h"
#include "trovix/platform/UserDefaults.h"

namespace trovix::test {

/// One domain: an image in memory over the disk, so that what another process writes shows only after `refresh`.
class SimulatedUserDefaults final : public platform::UserDefaults {
 public:
  explicit SimulatedUserDefaults(SimulatedDisk::Domain& stored) : stored_(stored), image_(stored) {}

  std::shared_ptr<const Value> object(std::string_view key) const override;
  void set(std::string_view key, Value value) override;
  void remove(std::string_view key) override { set(key, nullptr); }
  void setAll(const std::vector<std::pair<std::string, std::optional<Value>>>& values) override;
  void refresh() override { image_ = stored_; }

 private:
  SimulatedDisk::Domain& stored_;
  SimulatedDisk::Domain image_;
};

class SimulatedUserDefaultsDomains final : public platform::UserDefaultsDomains {
 public:
  explicit SimulatedUserDefaultsDomains(SimulatedDisk& disk) : disk_(disk), standard_(disk.standardDefaults) {}

  SimulatedUserDefaults& standard() override { return standard_; }
  SimulatedUserDefaults* suite(std::string_view name) override;

  /// Suites that cannot be opened.
  std::set<std::string, std::less<>> unavailableSuites;

 private:
  SimulatedDisk& disk_;
  SimulatedUserDefaults standard_;
  std::map<std::string, std::unique_ptr<SimulatedUserDefaults>, std::less<>> suites_;
};

class SimulatedKeychain final : public platform::Keychain {
 public:
  explicit SimulatedKeychain(SimulatedDisk& disk) : items_(disk.keychainItems) {}

  std::int32_t add(const Dictionary& attributes) override;
  std::int32_t copyMatching(const Dictionary& query, Data& result) override;
  std::int32_t update(const Dictionary& query, const Dictionary& attributesToUpdate) override;
  std::int32_t remove(const Dictionary& query) override;

  /// The status that every call answers instead of doing anything.
  std::optional<std::int32_t> failure;

 private:
  std::vector<Dictionary>& items_;
};

/// Files in memory.
class SimulatedFileSystem final : public platform::FileSystem {
 public:
  struct Failure {
    /// errno.
    int code = 0;
    /// Only paths that contain this text fail; empty is all of them.
    std::string pathContains;
  };

  SimulatedFileSystem(SimulatedDisk& disk, const platform::Clock& clock) : nodes_(disk.nodes), clock_(clock) {}

  bool exists(const std::string& path) const override { return nodes_.contains(path); }
  std::size_t entryCount(const std::string& directory) const override;
  std::vector<std::string> walk(const std::string& directory) const override;
  bool isDirectory(const std::string& path) const override;
  Result<Data> read(const std::string& path, std::size_t limit) const override;
  Status writeAtomically(const std::string& path, const Data& bytes) override;
  Status remove(const std::string& path) override;
  Status createDirectories(const std::string& path) override;
  std::optional<double> creationTime(const std::string& path) const override;
  std::optional<double> modificationTime(const std::string& path) const override;
  Result<platform::FileSystemSpace> space(const std::string& path) const override;

  /// Puts a file there with its parents.
  void place(const std::string& path, std::string_view text);
  void setCreationTime(const std::string& path, double secondsSince1970) {
    nodes_.at(path).createdAt = secondsSince1970;
  }
  /// The file's bytes as text; "" when there is none.
  std::string text(const std::string& path) const;

  /// Stays until it is taken away.
  std::optional<Failure> failReads;
  /// Nothing: asking for the space fails.
  std::optional<platform::FileSystemSpace> availableSpace = platform::FileSystemSpace{1'000u << 20, 4'000u << 20};

 private:
  std::map<std::string, SimulatedDisk::Node>& nodes_;
  const platform::Clock& clock_;
};

}  // namespace trovix::test
