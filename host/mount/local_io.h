#pragma once

#include <cstddef>
#include <cstdint>

namespace b2drive::mount {

// Reads up to `count` bytes at `offset`; fewer at the file's end. Throws FsError.
std::size_t ReadAt(int fd, char* data, std::size_t count, std::uint64_t offset);

// Writes all bytes; 0 or an errno.
int WriteAt(int fd, const char* data, std::size_t count, std::uint64_t offset);

// Copies the first `count` bytes of a file into another one. Throws FsError.
void CopyBytes(int from, int to, std::uint64_t count);

std::uint64_t SizeOf(int fd);  // bytes; throws FsError

}  // namespace b2drive::mount
