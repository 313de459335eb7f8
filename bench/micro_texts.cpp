#include <benchmark/benchmark.h>

#include <string>

#include "b2/file_records.h"
#include "b2/paths.h"
#include "protocol/aerror.h"
#include "protocol/log.h"
#include "util/compression.h"
#include "util/mime_types.h"
#include "util/time_format.h"
#include "util/url_encode.h"
#include "util/wildcard.h"

namespace {

const std::string kBucket = "edabc04929602985a6b71f93";
const std::string kPath = kBucket + "/holidays/2019/" + std::string(80, 'x') + ".jpg";

void SplitAnIdentifier(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(SplitIdentifier(kPath));
}
BENCHMARK(SplitAnIdentifier);

void SplitAndNormalize(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(SplitNormalized(kPath));
}
BENCHMARK(SplitAndNormalize);

void MakeAnIdentifier(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(ItemId(kBucket, kPath));
}
BENCHMARK(MakeAnIdentifier);

void FormatATime(benchmark::State& state) {
  long time = 1'795'237'404;
  for (auto _ : state) benchmark::DoNotOptimize(TimeToRFC3339(time++));
}
BENCHMARK(FormatATime);

void EncodeAName(benchmark::State& state) {
  const std::string name = "holidays/2019/grüße aus köln und münchen.jpg";
  for (auto _ : state) benchmark::DoNotOptimize(URLEncode(name.c_str(), false));
}
BENCHMARK(EncodeAName);

void FindAMimeType(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(get_mime_type_from_ext(kPath));
}
BENCHMARK(FindAMimeType);

void MatchAWildcard(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(IsNameInExpressionA("*2019*.j?g", kPath.c_str(), true));
  }
}
BENCHMARK(MatchAWildcard);

// What the option "verbose" costs an answer of so many bytes.
void CompressForTheLog(benchmark::State& state) {
  std::string text;
  while (text.size() < static_cast<std::size_t>(state.range(0)))
    text += kPath + "\", \"size\": 1024, ";
  for (auto _ : state) benchmark::DoNotOptimize(compress_string(text.data(), text.size(), -1));
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(CompressForTheLog)->Arg(1 << 10)->Arg(1 << 19);

// Without a logger: a call, a load and a branch.
void LogToNobody(benchmark::State& state) {
  for (auto _ : state) {
    __LOG__A(logger, LOGLEVEL_TRACE, "[PROTOCOL  ] %s id [%s]", "GetFileList", kPath.c_str());
  }
}
BENCHMARK(LogToNobody);

void NameACode(benchmark::State& state) {
  const AERROR codes[] = {AERROR::SUCCESS, AERROR::TIMEDOUT, AERROR::SOCK_UNKNOWN_SOCKET_ERROR};
  for (auto _ : state) {
    for (const AERROR code : codes) benchmark::DoNotOptimize(GetAERRORA(code));
  }
}
BENCHMARK(NameACode);

}  // namespace
