#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <string_view>

#include "base/thread_safety.h"
#include "emulator/content.h"
#include "emulator/free_space.h"

namespace emulator {

// One file that holds the bytes of all contents, seen through memory that the system fills and
// takes back as it likes. Bytes are in use as long as somebody has their block, and then used
// again. Which bytes are what is known elsewhere. Safe for concurrent use.
class ContentFile : public std::enable_shared_from_this<ContentFile> {
 public:
  struct Extent {
    uint64_t begin;
    uint64_t size;  // not 0
  };

  // Opens the file, made if need be. Throws std::runtime_error.
  static std::shared_ptr<ContentFile> Open(const std::filesystem::path& path);
  ContentFile(const ContentFile&) = delete;
  ContentFile& operator=(const ContentFile&) = delete;
  ~ContentFile();

  // At opening, once for each extent that is in use: its block. Throws std::runtime_error when the
  // file does not have it.
  Content::Block Claim(Extent extent);
  // Ends the claims: the rest is free. Throws std::runtime_error.
  void FreeTheRest();

  // Space that nobody uses; its bytes are to be written before others see the block. Throws
  // ServiceError when there is none.
  Content::Block Reserve(uint64_t size);
  // Writes into a reserved block. Throws ServiceError when the disk is full.
  void Write(const Content::Block& block, uint64_t offset, std::string_view bytes);

  // The extent whose block this is; size 0 when it is none of this file's.
  Extent ExtentOf(const Content::Block& block) const;

  // Between these two what nobody uses is given back. Outside of them blocks go because a start has
  // failed, or the process ends.
  void StartReleasing() { releasing_ = true; }
  void StopReleasing() { releasing_ = false; }

 private:
  ContentFile(int file, const char* base, uint64_t most, uint64_t size)
      : file_(file), base_(base), most_(most), size_at_opening_(size) {}

  Content::Block BlockAt(uint64_t begin);
  void Release(uint64_t begin);

  const int file_;
  const char* const base_;
  const uint64_t most_;  // bytes that can be seen from there
  const uint64_t size_at_opening_;
  std::atomic<bool> releasing_ = false;

  mutable base::Mutex mutex_;
  std::map<uint64_t, uint64_t> used_ B2_GUARDED_BY(mutex_);  // begin to size
  FreeSpace free_ B2_GUARDED_BY(mutex_);
  uint64_t end_ B2_GUARDED_BY(mutex_) = 0;  // nothing behind it is in use
};

}  // namespace emulator
