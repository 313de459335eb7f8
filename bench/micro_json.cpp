#include <benchmark/benchmark.h>

#include <string>

#include "util/json_object.h"

// A page of 1,000 files, as a listing gets it.

namespace {

std::string Page() {
  JsonObject files("[]");
  for (int i = 0; i < 1000; ++i) {
    JsonObject file = JsonObject::GetEmptyObject();
    file["action"] = "upload";
    file["contentSha1"] = "da39a3ee5e6b4b0d3255bfef95601890afd80709";
    file["contentType"] = "application/octet-stream";
    file["fileId"] =
        "4_zedabc04929602985a6b71f93_f1000000000100001_d20261121_m050324_c000_v0001000";
    file["fileName"] = "folder/" + std::to_string(1'000'000 + i);
    file.Insert("contentLength", JsonObject("1024"));
    file.Insert("fileInfo", JsonObject::GetEmptyObject());
    file.Insert("uploadTimestamp", JsonObject("1795237404000"));
    files.InsertArrayItem(file);
  }
  JsonObject page = JsonObject::GetEmptyObject();
  page.Insert("files", files);
  return page.ToStyledText();
}

void ParsePage(benchmark::State& state) {
  const std::string text = Page();
  for (auto _ : state) {
    JsonObject page(text.data(), static_cast<unsigned int>(text.size()));
    benchmark::DoNotOptimize(page.IsValid());
  }
  state.SetItemsProcessed(state.iterations() * 1000);
  state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(text.size()));
}
BENCHMARK(ParsePage);

void ReadPage(benchmark::State& state) {
  const std::string text = Page();
  JsonObject page(text.data(), static_cast<unsigned int>(text.size()));
  for (auto _ : state) {
    JsonObject files = page.GetObject("files");
    long long bytes = 0;
    for (int i = 0; i < files.GetArraySize(); ++i) {
      JsonObject file = files[i];
      const std::string name = file.GetObject("fileName");
      bytes += static_cast<long long>(file.GetObject("contentLength")) +
               static_cast<long long>(name.size());
    }
    benchmark::DoNotOptimize(bytes);
  }
  state.SetItemsProcessed(state.iterations() * 1000);
}
BENCHMARK(ReadPage);

}  // namespace
