#include "tests/mount/file_system_test.h"

namespace b2drive::mount {
namespace {

constexpr std::uint64_t kMiB = 1UL << 20;
constexpr std::uint64_t kSize = 24 * kMiB;
constexpr std::uint64_t kPiece = 64UL << 10;

TEST_F(FileSystemTest, HoweverAProgramGoesThroughAFileFewRangesBringIt) {
  std::string text;
  while (text.size() < kSize) text += std::to_string(text.size()) + " ";
  text.resize(kSize);
  emulator::AddText(store(), "bucket", "f", text);
  using Place = std::uint64_t (*)(std::uint64_t read);
  const std::tuple<const char*, std::uint64_t, Place, int> rows[] = {
      {"up", kSize / kPiece, [](std::uint64_t i) { return i * kPiece; }, 12},
      {"up at two places in turn", kSize / kPiece,
       [](std::uint64_t i) { return i / 2 * kPiece + i % 2 * kSize / 2; }, 16},
      {"down", kSize / kPiece, [](std::uint64_t i) { return kSize - (i + 1) * kPiece; }, 48},
      {"down at two places in turn", kSize / kPiece,
       [](std::uint64_t i) { return kSize / (2 - i % 2) - (i / 2 + 1) * kPiece; }, 48},
      {"in even steps", 12, [](std::uint64_t i) { return 2 * i * kMiB; }, 12},
      {"in even steps down", 12, [](std::uint64_t i) { return kSize - 2 * (i + 1) * kMiB; }, 12}};
  for (const auto& [name, reads, place, most] : rows) {
    Remount();
    const HandlePtr handle = files->Open(At("f"), false, false);
    std::string piece(kPiece, '\0');
    service->ClearRequests();
    for (std::uint64_t i = 0; i < reads; ++i) {
      const std::uint64_t at = place(i);
      ASSERT_EQ(handle->file().Read(handle->reader, at, piece.data(), kPiece), kPiece) << name;
      ASSERT_EQ(piece, text.substr(at, kPiece)) << name << " " << at;
    }
    EXPECT_LE(service->Count("b2_download_file_by_id"), static_cast<std::size_t>(most)) << name;
  }
}

}  // namespace
}  // namespace b2drive::mount
