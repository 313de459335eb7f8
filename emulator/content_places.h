#pragma once

#include <map>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <unordered_map>

#include "emulator/content.h"
#include "emulator/content_file.h"

namespace emulator {

// Where in the file a content's bytes are, and its hash. All of its blocks must be the file's.
nlohmann::json PlaceOf(const Content& content, const ContentFile& file);

// The contents of the records that are read when a file is opened. Equal ones are one.
class ContentLoader {
 public:
  explicit ContentLoader(ContentFile& file) : file_(file) {}

  // Throws std::runtime_error when the file does not have it.
  ContentPtr At(const nlohmann::json& place);

 private:
  std::shared_ptr<Content> Load(const nlohmann::json& place);
  const Content::Block& BlockOf(ContentFile::Extent extent);

  ContentFile& file_;
  std::map<uint64_t, Content::Block> blocks_;
  std::unordered_map<std::string, ContentPtr> contents_;
};

}  // namespace emulator
