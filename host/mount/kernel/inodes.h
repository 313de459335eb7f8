#pragma once

#include <sys/types.h>

#include <boost/container_hash/hash.hpp>
#include <boost/unordered/unordered_flat_set.hpp>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "host/common/thread_safety.h"
#include "host/mount/files/shared_file.h"

namespace b2drive::mount {

// The numbers by which the kernel knows paths. A number stays with its file, or folder, over a
// rename and after the name is gone, as long as the kernel remembers it. The kernel may remember
// everything that was ever listed, so each costs no more than its own name and some 60 bytes.
// Thread-safe.
class Inodes {
 public:
  static constexpr std::uint64_t kRoot = 1;

  Inodes();
  ~Inodes();
  Inodes(const Inodes&) = delete;
  Inodes& operator=(const Inodes&) = delete;

  // The number of `path`, which the kernel will remember once more.
  std::uint64_t Remember(const std::string& path, bool folder);
  void Forget(std::uint64_t number, std::uint64_t times);

  // Throws FsError ESTALE when the name is gone.
  std::string Path(std::uint64_t number);
  std::string Child(std::uint64_t folder, const std::string& name);

  void Renamed(const std::string& from, const std::string& to);
  void Removed(const std::string& path);

  // Lets a file be found by its number while it is open, also without a name.
  void Opened(std::uint64_t number, const SharedFilePtr& file);
  // The open file whose name is gone; null for any other.
  SharedFilePtr Nameless(std::uint64_t number);

 private:
  struct Inode;
  struct Name {
    std::uint64_t folder;  // its number
    std::string_view name;
  };
  // By what inodes are found.
  struct NumberOf {
    std::uint64_t operator()(std::uint64_t number) const { return number; }
    std::uint64_t operator()(const Inode* inode) const;
  };
  struct NameOf {
    using Key = std::pair<std::uint64_t, std::string_view>;
    Key operator()(const Name& name) const { return {name.folder, name.name}; }
    Key operator()(const Inode* inode) const;
  };
  template <typename Key>
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(const auto& of) const { return HashOf(Key()(of)); }
  };
  template <typename Key>
  struct Same {
    using is_transparent = void;
    bool operator()(const auto& one, const auto& other) const { return Key()(one) == Key()(other); }
  };
  static std::size_t HashOf(const auto& key) {
    return boost::hash<std::remove_cvref_t<decltype(key)>>()(key);
  }
  template <typename Key>
  using Set = boost::unordered_flat_set<Inode*, Hash<Key>, Same<Key>>;

  Inode* Find(std::uint64_t number) B2_REQUIRES(mutex_);
  Inode* Find(std::string_view path) B2_REQUIRES(mutex_);
  Inode* FindChild(const Name& name) B2_REQUIRES(mutex_);
  // With the folders that it stands in.
  Inode* FindOrMake(std::string_view path) B2_REQUIRES(mutex_);
  Inode* Add(std::uint64_t number, const Name& name) B2_REQUIRES(mutex_);
  // Its name is gone, and it too, unless the kernel remembers it.
  void Detach(Inode* inode) B2_REQUIRES(mutex_);
  // Drops it and folders that were there for its sake, as far as the kernel does not know them.
  void DropUnused(Inode* inode) B2_REQUIRES(mutex_);
  // Empty when the name is gone.
  std::string PathOf(const Inode* inode) B2_REQUIRES(mutex_);

  Mutex mutex_;
  std::uint64_t next_ B2_GUARDED_BY(mutex_) = kRoot + 1;
  Set<NumberOf> by_number_ B2_GUARDED_BY(mutex_);  // owned
  Set<NameOf> by_name_ B2_GUARDED_BY(mutex_);      // those that have one
  std::unordered_map<std::uint64_t, std::weak_ptr<SharedFile>> open_ B2_GUARDED_BY(mutex_);
};

}  // namespace b2drive::mount
