#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <string>
#include <string_view>

namespace b2drive {

// Write all of it, at the file's position or at an offset. 0 or an errno.
int WriteAll(int fd, std::string_view bytes);
int WriteAllAt(int fd, std::string_view bytes, std::uint64_t offset);

// Reads up to `count` bytes at `offset`; fewer at the file's end. Throws FsError.
std::size_t ReadAt(int fd, char* data, std::size_t count, std::uint64_t offset);

std::uint64_t SizeOf(int fd);  // bytes; throws FsError

// The CRC-32 of a file's bytes. Throws FsError.
std::uint32_t ChecksumOf(int fd);

// The bytes of a small file; none when it cannot be read.
std::string ReadSmallFile(const std::filesystem::path& file);
// The same. Throws FsError when it cannot be read.
std::string ReadWhole(const std::filesystem::path& file);

// A text that changes with each start of the machine; kUnknownBoot where there is none.
std::string CurrentBoot();
inline constexpr char kUnknownBoot[] = "unknown";

// Whether two files hold the same bytes. Throws FsError.
bool SameBytes(int one, int other);

}  // namespace b2drive
