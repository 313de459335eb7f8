#include "host/mount/kernel/fuse_reply.h"

#include <array>
#include <cerrno>
#include <new>

#include "host/common/fs_error.h"
#include "host/terminal/notices.h"

namespace b2drive::mount {
namespace {

constexpr unsigned kStatBlock = 512;
constexpr unsigned kBlockSize = 4096;

// Names that are not there and the like are daily business; the rest is worth a line.
void Report(const FsError& error) {
  for (int number : std::array{EIO, EACCES, ETIMEDOUT, EDQUOT, ENOSPC, ESTALE}) {
    if (error.number() == number) return Notice(error.what());
  }
}

}  // namespace

struct stat ToStat(const FuseContext& context, std::uint64_t number, const Entry& entry) {
  const KernelOptions& options = context.options;
  struct stat out {};
  const mode_t kind = entry.folder ? S_IFDIR | 0777 : S_IFREG | 0666;
  out.st_ino = number;
  out.st_mode = kind & ~options.umask;
  out.st_nlink = 1;
  out.st_uid = options.uid;
  out.st_gid = options.gid;
  out.st_size = static_cast<off_t>(entry.size);
  out.st_blocks = static_cast<blkcnt_t>((entry.size + kStatBlock - 1) / kStatBlock);
  out.st_blksize = kBlockSize;
  out.st_atim = out.st_mtim = out.st_ctim = entry.modified;
  return out;
}

fuse_entry_param ToEntryParam(FuseContext& context, const std::string& path, const Entry& entry) {
  fuse_entry_param out{};
  out.ino = context.inodes.Remember(path, entry.folder);
  out.attr = ToStat(context, out.ino, entry);
  out.attr_timeout = out.entry_timeout = kKeptSeconds;
  return out;
}

int NumberOfFailure() noexcept {
  try {
    throw;
  } catch (const FsError& error) {
    Report(error);
    return error.number() == ECANCELED ? EIO : error.number();
  } catch (const std::bad_alloc&) {
    return ENOMEM;
  } catch (const std::exception& error) {
    Notice(error.what());
    return EIO;
  }
}

}  // namespace b2drive::mount
