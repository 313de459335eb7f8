#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace emulator {

// The digit in a file ID that tells how the version came to be.
enum class IdKind : char { kSingle = '1', kLarge = '2', kTiny = '4' };

// File ID of the version number `sequence` of the bucket, created at `timestamp` (ms since 1970).
std::string MakeFileId(std::string_view bucket_id, IdKind kind, uint64_t sequence,
                       int64_t timestamp);

// The number in a file ID, whether or not that version exists; none when the text does not have the
// form of an ID.
std::optional<uint64_t> SequenceOf(std::string_view file_id);

// The bucket ID in a file ID; "" when the text does not have the form of an ID.
std::string BucketIdOf(std::string_view file_id);

}  // namespace emulator
