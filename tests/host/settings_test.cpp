#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>
#include <functional>

#include "host/common/errors.h"
#include "host/plugin/account.h"
#include "host/plugin/body_log.h"
#include "host/plugin/proxy.h"
#include "tests/support/scratch.h"

namespace b2drive {
namespace {

namespace fs = std::filesystem;

TEST(Proxy, ReadsTheFormsItOffers) {
  const std::pair<const char*, const char*> rows[] = {
      {"http://host:80", "HTTP with TUNNEL|host|80||"},
      {"http+forward://host:8080/", "HTTP without TUNNEL|host|8080||"},
      {"socks4://u@10.0.0.1:1080", "SOCKS4|10.0.0.1|1080|u|"},
      {"socks5://u:p%40ss@w:rd@[::1]:65535", "SOCKS5|[::1]|65535|u|p@ss@w:rd"}};
  for (const auto& [url, fields] : rows) {
    const _PROXYINFO p = ParseProxy(url);
    EXPECT_EQ(p.type + "|" + p.host + "|" + p.port + "|" + p.user + "|" + p.password, fields);
  }
}

// That a text is refused so, without a word of what is secret in it.
void ExpectDiscreetRefusal(ExitCode code, const std::function<void()>& parse) {
  try {
    parse();
    ADD_FAILURE() << "not refused";
  } catch (const HostError& error) {
    EXPECT_EQ(error.exit_code(), code);
    EXPECT_EQ(std::string(error.what()).find("secret"), std::string::npos) << error.what();
  }
}

TEST(Proxy, RefusesTheRestWithoutRepeatingIt) {
  for (const char* url :
       {"", "host:80", "https://secret@host:80", "http://secret@host", "http://secret@:80",
        "http://secret@host:0", "http://secret@host:65536", "http://secret@host:8o",
        "http://secret%4@host:80", "http://secret@host/path:80"}) {
    SCOPED_TRACE(url);
    ExpectDiscreetRefusal(ExitCode::kUsage, [&] { ParseProxy(url); });
  }
}

TEST(Account, ReadsItsFile) {
  Account account =
      ParseAccount("# mine\n\n application_key_id = id \r\napplication_key=a=b #c\n", "file");
  EXPECT_EQ(account.key_id + " " + account.key, "id a=b #c");
  EXPECT_EQ((Account{"0050123456789ab0000000001", "k", ""}).AccountId(), "0123456789ab");
  for (const char* text :
       {"", "application_key_id=x\nsecret\n", "application_key_id=x\napplication_key=\n"}) {
    SCOPED_TRACE(text);
    ExpectDiscreetRefusal(ExitCode::kNoAccount, [&] { ParseAccount(text, "file"); });
  }
}

TEST(PrivateFiles, ThoseThatOthersCanReachAreRefused) {
  const Scratch folder;
  const auto write = [&](const char* name, mode_t mode) {
    const fs::path file = folder.path / name;
    std::ofstream(file) << "application_key_id=id\napplication_key=key\n";
    chmod(file.c_str(), mode);
    return file;
  };
  EXPECT_EQ(ReadAccountFile(write("good", 0600)).key, "key");
  for (mode_t mode : {0640, 0604, 0620}) {
    EXPECT_THROW(ReadAccountFile(write("bad", mode)), HostError) << std::oct << mode;
  }
  const fs::path fresh = folder.path / "fresh";
  BodyLog(fresh.string()).Append("one\n");
  BodyLog(fresh.string()).Append("two\n");
  EXPECT_EQ(fs::status(fresh).permissions(), fs::perms::owner_read | fs::perms::owner_write);
  EXPECT_EQ(fs::file_size(fresh), 8u);
  EXPECT_THROW(BodyLog(write("wide", 0644).string()), HostError);
  fs::create_symlink(fresh, folder.path / "link");
  EXPECT_THROW(BodyLog((folder.path / "link").string()), HostError);
  EXPECT_EQ(fs::file_size(fresh), 8u);
}

}  // namespace
}  // namespace b2drive
