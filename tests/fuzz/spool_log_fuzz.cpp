// A spool folder's log of which the disk has lost sectors and parts of them: what is read was
// written, in that order, and what was not hit is read.

#include <algorithm>
#include <vector>

#include "host/mount/journal/log_frames.h"
#include "tests/fuzz/input.h"

namespace {

using namespace b2drive::mount;

constexpr std::size_t kSector = 4096;

struct Framed {
  std::string text;
  std::size_t begin, end;  // in the file
  bool whole = true;
};

// "SIZE TEXT": repeated to that size; no two are alike.
std::string TextOf(fuzz::Input words, std::size_t number) {
  constexpr std::size_t kMost = 20000;
  std::string text = std::to_string(number) + ' ';
  const std::size_t size = text.size() + words.Number(kMost);
  const std::string pattern = words.Rest() + ' ';
  while (text.size() < size) text += pattern;
  return text;
}

}  // namespace

// Texts, a line "damage", "AT COUNT" for bytes that are zeros now. Or a line "raw", the file.
void fuzz::Run(Input& input) {
  std::string file;
  std::vector<Framed> all;
  std::string line = input.Line();
  if (line == "raw") UnframeTexts(input.Rest());
  for (; line != "damage" && !input.AtEnd(); line = input.Line()) {
    const std::size_t begin = file.size();
    const std::string text = TextOf(fuzz::Input(line), all.size());
    file += FrameText(text, begin);
    all.push_back({text, begin, file.size()});
  }
  file.resize(file.size() + kSector, '\0');
  while (!input.AtEnd()) {
    fuzz::Input words(input.Line());
    const std::size_t at = words.Number(file.size());
    const std::size_t count = words.Number(file.size() - at);
    file.replace(at, count, count, '\0');
    const std::size_t end = ((at + count) / kSector + 1) * kSector;
    for (Framed& one : all) one.whole = one.whole && (one.end <= at || one.begin >= end);
  }
  const Unframed found = UnframeTexts(file);
  auto next = found.texts.begin();
  for (const Framed& one : all) {
    const bool read = next != found.texts.end() && *next == one.text;
    fuzz::Must(read || !one.whole, "what was not hit is read");
    if (read) ++next;
  }
  fuzz::Must(next == found.texts.end(), "nothing else is read");
}
