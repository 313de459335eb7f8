#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace b2drive::mount {

// Texts one behind the other in a file of blocks. In each block that a text reaches into it has a
// piece with a checksum, so that a sector that is damaged costs the texts in its block, and no
// other; and what only looks like a text, inside of another, is never taken for one.

// What is to be written at `at`, where the text before ended, for a text of at least one byte.
std::string FrameText(std::string_view text, std::uint64_t at);
// At least what it is long, wherever it stands.
std::uint64_t MostFramed(std::uint64_t text_size);

struct Unframed {
  std::vector<std::string> texts;
  bool damaged = false;  // there was something before the last of them that cannot be read
};
// Of a file that was all zeros before the first text was written.
Unframed UnframeTexts(std::string_view file);

}  // namespace b2drive::mount
