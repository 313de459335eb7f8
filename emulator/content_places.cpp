#include "emulator/content_places.h"

#include <array>
#include <stdexcept>
#include <vector>

namespace emulator {
namespace {

using nlohmann::json;

// A piece as it is kept. Adjacent pieces of an extent are one, and so are equal ones that follow
// each other, as those of synthetic contents do.
struct Place {
  ContentFile::Extent extent;
  uint64_t skipped;
  uint64_t length;
  uint64_t times;
};

bool Joined(Place& last, const Place& next) {
  if (last.extent.begin != next.extent.begin) return false;
  if (last.times == 1 && last.skipped + last.length == next.skipped) {
    last.length += next.length;
    return true;
  }
  if (last.skipped != next.skipped || last.length != next.length) return false;
  ++last.times;
  return true;
}

}  // namespace

json PlaceOf(const Content& content, const ContentFile& file) {
  std::vector<Place> places;
  uint64_t begin = 0;
  for (const Content::Piece& piece : content.pieces()) {
    const Place next{file.ExtentOf(piece.block), piece.skipped, piece.end - begin, 1};
    if (places.empty() || !Joined(places.back(), next)) places.push_back(next);
    begin = piece.end;
  }
  json pieces = json::array();
  for (const auto& [extent, skipped, length, times] : places) {
    pieces.push_back({extent.begin, extent.size, skipped, length, times});
  }
  return {{"sha1", content.sha1}, {"pieces", pieces}};
}

const Content::Block& ContentLoader::BlockOf(ContentFile::Extent extent) {
  Content::Block& block = blocks_[extent.begin];
  if (!block) block = file_.Claim(extent);
  if (file_.ExtentOf(block).size != extent.size) throw std::runtime_error("records contradict");
  return block;
}

std::shared_ptr<Content> ContentLoader::Load(const json& place) {
  auto content = std::make_shared<Content>();
  content->sha1 = place.at("sha1");
  for (const json& piece : place.at("pieces")) {
    const auto [begin, size, skipped, length, times] = piece.get<std::array<uint64_t, 5>>();
    if (skipped > size || length > size - skipped) throw std::runtime_error("records contradict");
    const Content::Block& block = BlockOf({begin, size});
    for (uint64_t i = 0; i < times; ++i) content->AppendPiece(block, skipped, length);
  }
  return content;
}

ContentPtr ContentLoader::At(const json& place) {
  ContentPtr& content = contents_[place.dump()];
  if (!content) content = Load(place);
  return content;
}

}  // namespace emulator
