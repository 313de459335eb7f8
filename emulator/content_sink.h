#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "emulator/content.h"

namespace emulator {

// Takes the bytes of one content as they come.
class ContentSink {
 public:
  ContentSink() = default;
  ContentSink(const ContentSink&) = delete;
  ContentSink& operator=(const ContentSink&) = delete;
  virtual ~ContentSink() = default;

  // The first `length` bytes of `block`, which nobody else changes.
  virtual void Append(Content::Block block, size_t length) = 0;
  // The content, its hash still to be set. Once, at the end.
  virtual std::shared_ptr<Content> Finish() = 0;
};

// Keeps the blocks as they are.
class MemorySink : public ContentSink {
 public:
  void Append(Content::Block block, size_t length) override {
    content_->Append(std::move(block), length);
  }
  std::shared_ptr<Content> Finish() override { return std::move(content_); }

 private:
  std::shared_ptr<Content> content_ = std::make_shared<Content>();
};

}  // namespace emulator
