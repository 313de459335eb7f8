#include <benchmark/benchmark.h>

#include "http/backblaze_b2_curl.h"
#include "http/curl_handles.h"
#include "http/curl_queue.h"

namespace {

// One pool for all threads of a run, as in the module.
CURLQueue<BackBlazeB2CURL>& Pool() {
  static CURLQueue<BackBlazeB2CURL> pool;
  static const bool set = [] {
    pool.SetProxy({"HTTP with TUNNEL", "127.0.0.1", "3128", "", ""});
    return true;
  }();
  benchmark::DoNotOptimize(set);
  return pool;
}

void LendAndTakeBack(benchmark::State& state) {
  CURLQueue<BackBlazeB2CURL>& pool = Pool();
  for (auto _ : state) {
    const auto request = pool.GetCURL();
    const AutoPutCURL<BackBlazeB2CURL> give_back(pool, request);
    benchmark::DoNotOptimize(request.get());
  }
}
BENCHMARK(LendAndTakeBack)->ThreadRange(1, 16)->UseRealTime();

void BuildHeaders(benchmark::State& state) {
  BackBlazeB2CURL request;
  for (auto _ : state) {
    request.AddHeader("Authorization", "4_edabc04929602985a6b71f93_acct");
    request.AddHeader("Content-Type", "application/octet-stream");
    request.AddHeader("X-Bz-Content-Sha1", "do_not_verify");
    request.AddHeader("X-Bz-File-Name", "holidays/2019/beach.jpg");
    request.AddHeader("Content-Length", 4096);
    const HeaderList list(request.BuildHeader());
    benchmark::DoNotOptimize(list.get());
  }
}
BENCHMARK(BuildHeaders);

void ClearARequest(benchmark::State& state) {
  BackBlazeB2CURL request;
  for (auto _ : state) request.Clear();
}
BENCHMARK(ClearARequest);

}  // namespace
