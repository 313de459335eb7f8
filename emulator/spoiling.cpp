#include "emulator/spoiling.h"

#include <nlohmann/json.hpp>

#include "emulator/args.h"

namespace emulator {
namespace {

using nlohmann::json;

struct Cursor {
  const char* answered;
  const char* asked;
  const char* of_entry;
};

constexpr Cursor kCursors[] = {{"nextFileName", "startFileName", "fileName"},
                               {"nextFileId", "startFileId", "fileId"}};

void RepeatCursor(const Incoming& incoming, Answer& answer) {
  const Args args = Args::Of(incoming);
  json page = json::parse(answer.body);
  if (!page.contains("files") || page["files"].empty()) return;
  for (const Cursor& cursor : kCursors) {
    if (!page.contains(cursor.answered)) continue;
    const std::string asked = args.OptionalText(cursor.asked).value_or("");
    page[cursor.answered] = asked.empty() ? page["files"][0][cursor.of_entry] : json(asked);
  }
  answer.body = page.dump(2);
}

void Replace(const std::string& from, const std::string& to, std::string& text) {
  for (size_t found = 0; (found = text.find(from, found)) != text.npos; found += to.size()) {
    text.replace(found, from.size(), to);
  }
}

// The content's own bytes are shared by others.
void FlipByte(uint64_t byte, Answer& answer) {
  if (byte >= answer.length) return;
  const std::shared_ptr<char[]> flipped(
      new char[1]{static_cast<char>(answer.At(byte).front() ^ 1)});
  auto content = std::make_shared<Content>();
  content->Append(*answer.content, answer.first, byte);
  content->Append(flipped, 1);
  content->Append(*answer.content, answer.first + byte + 1, answer.length - byte - 1);
  answer.content = content;
  answer.first = 0;
}

}  // namespace

void Spoil(const Fault& fault, const Incoming& incoming, Answer& answer) {
  if (answer.content && fault.flip_byte && answer.status < 300) FlipByte(*fault.flip_byte, answer);
  if (answer.status != 200 || answer.content) return;
  if (fault.repeat_cursor) RepeatCursor(incoming, answer);
  for (const auto& [from, to] : fault.replace) Replace(from, to, answer.body);
}

}  // namespace emulator
