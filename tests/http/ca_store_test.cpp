#include "util/ca_store.h"

#include <curl/curl.h>
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <memory>
#include <string>

#include "emulator/emulator.h"

namespace fs = std::filesystem;

namespace {

CURLcode Trust(CURL*, void* context, void* directory) {
  const bool trusted = util::ShareCaStore(context, *static_cast<std::string*>(directory));
  return trusted ? CURLE_OK : CURLE_SSL_CACERT_BADFILE;
}

// The code of a first contact with a server.
CURLcode Meet(const emulator::Emulator& server, std::string& directory) {
  const std::unique_ptr<CURL, decltype(&curl_easy_cleanup)> easy(curl_easy_init(),
                                                                 curl_easy_cleanup);
  curl_easy_setopt(easy.get(), CURLOPT_URL, "https://127.0.0.1/");
  curl_easy_setopt(easy.get(), CURLOPT_PORT, static_cast<long>(server.port()));
  curl_easy_setopt(easy.get(), CURLOPT_NOBODY, 1L);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_VERIFYHOST, 0L);
  curl_easy_setopt(easy.get(), CURLOPT_CAINFO, nullptr);
  curl_easy_setopt(easy.get(), CURLOPT_CAPATH, nullptr);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_CTX_FUNCTION, &Trust);
  curl_easy_setopt(easy.get(), CURLOPT_SSL_CTX_DATA, &directory);
  return curl_easy_perform(easy.get());
}

}  // namespace

TEST(CaStoreTest, TrustsWhatTheFileHoldsNow) {
  const emulator::Emulator one;
  const emulator::Emulator two;  // with a CA of its own
  std::string directory = one.ca_file().string() + ".trusted";
  const fs::path file = fs::path(directory) / "cacert.pem";
  EXPECT_EQ(Meet(one, directory), CURLE_SSL_CACERT_BADFILE);

  fs::create_directory(directory);
  fs::copy_file(one.ca_file(), file);
  EXPECT_EQ(Meet(one, directory), CURLE_OK);
  EXPECT_EQ(Meet(two, directory), CURLE_PEER_FAILED_VERIFICATION);

  fs::copy_file(two.ca_file(), file, fs::copy_options::overwrite_existing);
  fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(1));
  EXPECT_EQ(Meet(two, directory), CURLE_OK);
  EXPECT_EQ(Meet(one, directory), CURLE_PEER_FAILED_VERIFICATION);
  fs::remove_all(directory);
}
