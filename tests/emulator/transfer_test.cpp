#include "client.h"

namespace emulator {
namespace {

using TransferTest = EmulatorTest;

TEST_F(TransferTest, UploadsAreCheckedBeforeTheyCount) {
  const std::string sha1 = "X-Bz-Content-Sha1: " + Sha1Of("text");
  const std::string at_end = "X-Bz-Content-Sha1: hex_digits_at_end";
  const std::string type = "Content-Type: b2/x-auto";
  const std::string name = "X-Bz-File-Name: x";
  const auto named = [](const char* encoded) { return std::string("X-Bz-File-Name: ") + encoded; };
  struct Row {
    Headers headers;
    std::string body = "text";
    const char* outcome = "400 bad_request";
  };
  const Row rows[] = {
      {{named("a%2Fb+c.JPG"), type, sha1}, "text", "200"},
      {{named("end"), type, at_end}, "text" + Sha1Of("text"), "200"},
      {{named("un"), type, "X-Bz-Content-Sha1: do_not_verify"}, "t", "200"},
      {{named("empty"), type, "X-Bz-Content-Sha1: " + Sha1Of("")}, "", "200"},
      {{name, type, sha1}, "test"},
      {{name, type, at_end}, "text" + Sha1Of("test")},
      {{name, type, at_end}},
      {{name, type, "X-Bz-Content-Sha1: 12"}},
      {{name, type}},
      {{type, sha1}},
      {{name, "Content-Type:", sha1}},
      {{named("x%2"), type, sha1}},
      {{named("%FF"), type, sha1}},
      {{name, type, sha1, "Content-Language: de"}},
      {{name, type, sha1, "Transfer-Encoding: chunked"}},
  };
  const json target = UploadTarget();
  for (const auto& [headers, body, outcome] : rows) {
    EXPECT_EQ(Upload(target, headers, body).Outcome(), outcome) << json(headers) << body;
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
  EXPECT_EQ(reply.Outcome() + reply.body + reply.headers["content-length"], "2004");
  EXPECT_EQ(reply.headers["x-bz-info-src"], "a%20b%2B%C3%A9");
  EXPECT_EQ(reply.headers["x-bz-file-name"], "a%2B%20%C3%A9");
  EXPECT_EQ(reply.headers["cache-control"], "max-age=1");
  EXPECT_EQ(Download("a%2B+%C3%A9?b2CacheControl=no").headers["cache-control"], "no");
  EXPECT_EQ(Download("nothing", {}, "HEAD").status, 404);
}

TEST_F(TransferTest, Ranges) {
  AddText(store(), "photos", "a", "0123456789");
  AddText(store(), "photos", "empty", "");
  struct Row {
    const char* range;
    const char *content_range = "", *body = "0123456789";
  };
  const Row rows[] = {
      {"bytes=2-4", "bytes 2-4/10", "234"},
      {"bytes=7-", "bytes 7-9/10", "789"},
      {"bytes=-3", "bytes 7-9/10", "789"},
      {"bytes=8-99", "bytes 8-9/10", "89"},
      {"bytes=0-9"},
      {"bytes=-99"},
      {"bytes=4-2"},
      {"bytes=1-2,4-5"},
      {"bytes=a-b"},
      {"lines=1-2"},
  };
  for (const auto& [range, content_range, body] : rows) {
    Reply reply = Download("a", {std::string("Range: ") + range});
    EXPECT_EQ(reply.status, *content_range == '\0' ? 200 : 206) << range;
    EXPECT_EQ(reply.headers["content-range"], content_range) << range;
    EXPECT_EQ(reply.body, body) << range;
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
  json fields{{"sourceFileId", source->Id()}, {"fileName", "b"}};
  const json whole = Call("b2_copy_file", fields).Json();
  EXPECT_EQ(whole["action"], "copy");
  EXPECT_EQ(whole["contentSha1"], source->content->sha1);
  EXPECT_EQ(whole["fileInfo"], json({{"k", "v"}}));
  fields.update({{"destinationBucketId", EnsureBucket(store(), "elsewhere").id},
                 {"range", "bytes=2-4"},
                 {"metadataDirective", "REPLACE"},
                 {"contentType", "x/y"}});
  EXPECT_EQ(Call("b2_copy_file", fields).Json()["fileInfo"], json::object());
  EXPECT_EQ(ReadText(store(), "elsewhere", "b"), "234");
}

}  // namespace
}  // namespace emulator
