#include "client.h"

namespace emulator {
namespace {

using TransferTest = EmulatorTest;

TEST_F(TransferTest, UploadsAreCheckedBeforeTheyCount) {
  const std::string sha1 = "X-Bz-Content-Sha1: " + Sha1Of("text");
  const std::string at_end = "X-Bz-Content-Sha1: hex_digits_at_end";
  const std::string type = "Content-Type: b2/x-auto";
  const std::string name = "X-Bz-File-Name: x";
  constexpr const char* kBad = "400 bad_request";
  const std::tuple<const char*, Headers, std::string, const char*> rows[] = {
      {"plain", {"X-Bz-File-Name: a%2Fb+c.JPG", type, sha1}, "text", "200"},
      {"digest behind", {"X-Bz-File-Name: end", type, at_end}, "text" + Sha1Of("text"), "200"},
      {"unverified", {"X-Bz-File-Name: un", type, "X-Bz-Content-Sha1: do_not_verify"}, "t", "200"},
      {"empty", {"X-Bz-File-Name: empty", type, "X-Bz-Content-Sha1: " + Sha1Of("")}, "", "200"},
      {"wrong digest", {name, type, sha1}, "test", kBad},
      {"wrong digest behind", {name, type, at_end}, "text" + Sha1Of("test"), kBad},
      {"digest cut", {name, type, at_end}, "text", kBad},
      {"digest not hex", {name, type, "X-Bz-Content-Sha1: 12"}, "t", kBad},
      {"no digest", {name, type}, "text", kBad},
      {"no name", {type, sha1}, "text", kBad},
      {"no type", {name, "Content-Type:", sha1}, "text", kBad},
      {"bad escape", {"X-Bz-File-Name: x%2", type, sha1}, "text", kBad},
      {"bad UTF-8", {"X-Bz-File-Name: %FF", type, sha1}, "text", kBad},
      {"refused header", {name, type, sha1, "Content-Language: de"}, "text", kBad},
      {"chunked", {name, type, sha1, "Transfer-Encoding: chunked"}, "text", kBad},
  };
  const json target = UploadTarget();
  for (const auto& [what, headers, body, outcome] : rows) {
    EXPECT_EQ(Upload(target, headers, body).Outcome(), outcome) << what;
  }
  EXPECT_EQ(VersionsText(), "a/b c.JPG=text empty= end=text un=t");
  EXPECT_EQ(Download("a/b%20c.JPG").headers["content-type"], "image/jpeg");
  EXPECT_EQ(Download("un").headers["x-bz-content-sha1"], "unverified:" + Sha1Of("t"));
}

TEST(UploadTicketTest, OneUploadAtATimePerUrl) {
  Access access("0123456789ab", "key", {std::chrono::hours(1), std::chrono::hours(1), true});
  const auto ticket = access.IssueUpload("target", access.Login("Basic MDEyMzQ1Njc4OWFiOmtleQ=="));
  {
    const UploadPass first = access.BeginUpload(ticket->token, ticket->path);
    EXPECT_THROW(access.BeginUpload(ticket->token, ticket->path), std::runtime_error);
  }
  EXPECT_EQ(access.BeginUpload(ticket->token, ticket->path).target(), "target");
}

TEST_F(TransferTest, InfosComeBackAsHeaders) {
  const FileInfo info{{"Src", "a b+\xC3\xA9"}, {"b2-cache-control", "max-age=1"}};
  AddText(store(), "photos", "a+ \xC3\xA9", "text", info);
  Reply reply = Download("a%2B+%C3%A9", {}, "HEAD");
  EXPECT_EQ(reply.status, 200);
  EXPECT_EQ(reply.body, "");
  EXPECT_EQ(reply.headers["content-length"], "4");
  EXPECT_EQ(reply.headers["x-bz-info-src"], "a%20b%2B%C3%A9");
  EXPECT_EQ(reply.headers["x-bz-file-name"], "a%2B%20%C3%A9");
  EXPECT_EQ(reply.headers["cache-control"], "max-age=1");
  EXPECT_EQ(Download("a%2B+%C3%A9?b2CacheControl=no").headers["cache-control"], "no");
  const json id{{"fileId", reply.headers["x-bz-file-id"]}};
  EXPECT_EQ(Call("b2_download_file_by_id", id).body, "text");
  EXPECT_EQ(Download("nothing", {}, "HEAD").status, 404);
}

TEST_F(TransferTest, Ranges) {
  AddText(store(), "photos", "a", "0123456789");
  AddText(store(), "photos", "empty", "");
  struct Row {
    const char* range;
    int status;
    const char *content_range, *body;
  };
  const Row rows[] = {
      {"bytes=2-4", 206, "bytes 2-4/10", "234"}, {"bytes=7-", 206, "bytes 7-9/10", "789"},
      {"bytes=-3", 206, "bytes 7-9/10", "789"},  {"bytes=8-99", 206, "bytes 8-9/10", "89"},
      {"bytes=9-9", 206, "bytes 9-9/10", "9"},   {"bytes=0-9", 200, "", "0123456789"},
      {"bytes=0-99", 200, "", "0123456789"},     {"bytes=-99", 200, "", "0123456789"},
      {"bytes=4-2", 200, "", "0123456789"},      {"bytes=1-2,4-5", 200, "", "0123456789"},
      {"bytes=a-b", 200, "", "0123456789"},      {"lines=1-2", 200, "", "0123456789"},
  };
  for (const Row& row : rows) {
    Reply reply = Download("a", {std::string("Range: ") + row.range});
    EXPECT_EQ(reply.status, row.status) << row.range;
    EXPECT_EQ(reply.headers["content-range"], row.content_range) << row.range;
    EXPECT_EQ(reply.body, row.body) << row.range;
  }
  EXPECT_EQ(Download("a", {"Range: bytes=10-"}).Outcome(), "416 range_not_satisfiable");
  EXPECT_EQ(Download("empty", {"Range: bytes=0-0"}).Outcome(), "416 range_not_satisfiable");
}

// Content of many blocks, read from odd offsets across their borders.
TEST_F(TransferTest, BigContentKeepsItsBytes) {
  const uint64_t size = 3 * Content::kBlockSize + 17;
  const VersionPtr stored = AddSynthetic(store(), "photos", "big", size);
  const std::string bytes = stored->content->Text();
  EXPECT_EQ(Sha1Of(bytes), stored->content->sha1);
  EXPECT_TRUE(Download("big").body == bytes);
  const uint64_t first = Content::kBlockSize - 5;
  const std::string range = std::to_string(first) + "-" + std::to_string(first + 2'000'000);
  EXPECT_TRUE(Download("big", {"Range: bytes=" + range}).body == bytes.substr(first, 2'000'001));
  // curl waits for 100 Continue before it sends this much.
  EXPECT_EQ(UploadFile(UploadTarget(), "copy", bytes).Outcome(), "200");
  EXPECT_TRUE(ReadText(store(), "photos", "copy") == bytes);
}

TEST_F(TransferTest, CopiesShareOrCutTheSource) {
  const VersionPtr source = AddText(store(), "photos", "a", "0123456789", {{"k", "v"}});
  const Bucket other = EnsureBucket(store(), "elsewhere");
  const auto copy = [&](json fields) {
    fields["sourceFileId"] = source->Id();
    return Call("b2_copy_file", fields);
  };
  const json whole = copy({{"fileName", "whole"}}).Json();
  EXPECT_EQ(whole["action"], "copy");
  EXPECT_EQ(whole["contentSha1"], source->content->sha1);
  EXPECT_EQ(whole["fileInfo"], json({{"k", "v"}}));
  const json cut = copy({{"fileName", "cut"},
                         {"destinationBucketId", other.id},
                         {"range", "bytes=2-4"},
                         {"metadataDirective", "REPLACE"},
                         {"contentType", "x/y"}})
                       .Json();
  EXPECT_EQ(cut["contentSha1"], Sha1Of("234"));
  EXPECT_EQ(cut["fileInfo"], json::object());
  EXPECT_EQ(ReadText(store(), "elsewhere", "cut"), "234");
}

}  // namespace
}  // namespace emulator
