#include "emulator/data_folder.h"

#include <algorithm>
#include <map>
#include <stdexcept>
#include <string_view>
#include <system_error>

#include "emulator/errors.h"

namespace emulator {
namespace {

namespace fs = std::filesystem;

fs::path Made(const fs::path& folder) {
  std::error_code error;
  if (fs::create_directories(folder, error)) {
    fs::permissions(folder, fs::perms::owner_all, error);
  }
  if (error) throw std::runtime_error(folder.string() + ": " + error.message());
  return folder;
}

// Runs `act`, and says of which folder its failure is.
template <typename Act>
auto InFolder(const fs::path& folder, const Act& act) {
  try {
    return act();
  } catch (const std::exception& error) {
    throw std::runtime_error(folder.string() + ": " + error.what());
  }
}

bool AllIn(const ContentFile& file, const Content& content) {
  return std::ranges::all_of(content.pieces(), [&](const Content::Piece& piece) {
    return file.ExtentOf(piece.block).size > 0;
  });
}

// Writes what comes into one extent.
class FileSink : public ContentSink {
 public:
  FileSink(ContentFile& file, uint64_t size) : file_(file), block_(file.Reserve(size)) {}

  void Append(Content::Block block, size_t length) override {
    file_.Write(block_, written_, {block.get(), length});
    written_ += length;
  }

  std::shared_ptr<Content> Finish() override {
    auto content = std::make_shared<Content>();
    content->Append(std::move(block_), written_);
    return content;
  }

 private:
  ContentFile& file_;
  Content::Block block_;
  uint64_t written_ = 0;
};

}  // namespace

DataFolder::DataFolder(const fs::path& folder)
    : table_(InFolder(folder, [&] { return RecordTable(Made(folder) / "b2emulator.db"); })),
      contents_(ContentFile::Open(folder / "b2emulator.contents")) {
  InFolder(folder, [&] {
    // It holds secrets, and the folder may be somebody else's making.
    fs::permissions(folder / "b2emulator.db", fs::perms::owner_read | fs::perms::owner_write);
    base::Lock lock(mutex_);
    kept_ = ReadKept(table_, *contents_);
    contents_->FreeTheRest();
  });
}

void DataFolder::Write(const std::function<void(RecordTable&)>& change) {
  base::Lock lock(mutex_);
  try {
    if (together_) return change(table_);
    RecordTable::Transaction transaction(table_);
    change(table_);
    transaction.Commit();
  } catch (const std::runtime_error& error) {
    throw ServiceError(503, "service_unavailable", std::string("The data folder: ") + error.what());
  }
}

void DataFolder::Put(const Account& account) {
  Write([&](RecordTable& table) { PutRecord(table, account); });
}

void DataFolder::Put(const Bucket& bucket) {
  Write([&](RecordTable& table) { PutRecord(table, bucket); });
}

void DataFolder::Put(const Version& version) {
  Write([&](RecordTable& table) { PutRecord(table, version, *contents_); });
}

void DataFolder::Put(const Version& unfinished, const Part& part) {
  Write([&](RecordTable& table) { PutRecord(table, unfinished.sequence, part, *contents_); });
}

void DataFolder::Put(const Key& key) {
  Write([&](RecordTable& table) { PutRecord(table, key); });
}

void DataFolder::ForgetBucket(const std::string& id) {
  Write([&](RecordTable& table) { EraseBucketRecord(table, id); });
}

void DataFolder::Forget(const Version& version, uint64_t next_sequence) {
  Write([&](RecordTable& table) {
    EraseVersionRecord(table, version.sequence);
    PutNextSequence(table, next_sequence);
  });
}

void DataFolder::ForgetKey(const std::string& id) {
  Write([&](RecordTable& table) { EraseKeyRecord(table, id); });
}

void DataFolder::Replace(const State& state) {
  Write([&](RecordTable& table) { ReplaceRecords(table, state, *contents_); });
}

void DataFolder::Replace(const std::vector<KeyPtr>& keys) {
  Write([&](RecordTable& table) { ReplaceRecords(table, keys); });
}

RecordTable& DataFolder::SetTogether(bool together) {
  base::Lock lock(mutex_);
  together_ = together;
  return table_;
}

bool DataFolder::Once(const std::string& what, const std::function<bool()>& act) {
  RecordTable& table = SetTogether(true);
  RecordTable::Transaction transaction(table);
  const bool done = IsNoted(table, what) || act();
  if (done) {
    Note(table, what);
    transaction.Commit();
  }
  SetTogether(false);
  return done;
}

std::unique_ptr<ContentSink> DataFolder::NewContent(uint64_t size) {
  if (size == 0) return Ledger::NewContent(size);
  return std::make_unique<FileSink>(*contents_, size);
}

ContentPtr DataFolder::Adopt(ContentPtr content) {
  if (AllIn(*contents_, *content)) return content;
  auto adopted = std::make_shared<Content>();
  adopted->sha1 = content->sha1;
  std::map<std::pair<const char*, uint64_t>, Content::Block> copies;
  uint64_t begin = 0;
  for (const Content::Piece& piece : content->pieces()) {
    const uint64_t length = piece.end - std::exchange(begin, piece.end);
    const std::string_view bytes(piece.block.get() + piece.skipped, length);
    Content::Block& copy = copies[{bytes.data(), length}];
    if (!copy) {
      copy = contents_->Reserve(length);
      contents_->Write(copy, 0, bytes);
    }
    adopted->AppendPiece(copy, 0, length);
  }
  return adopted;
}

}  // namespace emulator
