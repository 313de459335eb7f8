#include "host/plugin/account.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <array>
#include <cerrno>
#include <sstream>

#include "host/common/errors.h"
#include "host/common/unique_fd.h"
#include "host/local/private_file.h"
#include "host/terminal/terminal.h"

namespace b2drive {
namespace fs = std::filesystem;
namespace {

std::string Trim(const std::string& text) {
  constexpr char kBlanks[] = " \t\r";
  std::size_t first = text.find_first_not_of(kBlanks);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

std::string* Field(Account& account, const std::string& name) {
  if (name == "application_key_id") return &account.key_id;
  if (name == "application_key") return &account.key;
  if (name == "account_id") return &account.account_id;
  return nullptr;
}

std::string ReadAll(int fd) {
  std::string text;
  std::array<char, 1024> piece{};
  ssize_t got = 0;
  while ((got = read(fd, piece.data(), piece.size())) > 0) {
    text.append(piece.data(), static_cast<std::size_t>(got));
  }
  return text;
}

}  // namespace

std::string Account::AccountId() const {
  constexpr std::size_t kKeyIdLength = 25;
  constexpr std::size_t kAccountStart = 3;
  constexpr std::size_t kAccountLength = 12;
  if (!account_id.empty()) return account_id;
  return key_id.size() == kKeyIdLength ? key_id.substr(kAccountStart, kAccountLength) : key_id;
}

Account ParseAccount(std::string_view text, const std::string& subject) {
  Account account;
  std::istringstream lines{std::string(text)};
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    line = Trim(line);
    if (line.empty() || line.front() == '#') continue;
    std::size_t equals = line.find('=');
    std::string* field = Field(account, Trim(line.substr(0, equals)));
    // The line is not shown: it may be a key.
    if (equals == std::string::npos || field == nullptr) {
      throw HostError(ExitCode::kNoAccount, subject + ": line " + std::to_string(number) +
                                                ": expected application_key_id = ..., "
                                                "application_key = ... or account_id = ...");
    }
    *field = Trim(line.substr(equals + 1));
  }
  if (account.key_id.empty() || account.key.empty()) {
    throw HostError(ExitCode::kNoAccount,
                    subject + ": needs both application_key_id and application_key");
  }
  return account;
}

Account ReadAccountFile(const fs::path& file) {
  std::string subject = "the account file " + file.string();
  UniqueFd fd(open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
  struct stat status {};
  if (!fd || fstat(fd.get(), &status) != 0) {
    throw HostError(ExitCode::kNoAccount, LocalFailure(subject, errno).what());
  }
  if (!S_ISREG(status.st_mode) || status.st_uid != geteuid() || (status.st_mode & 077) != 0) {
    throw HostError(ExitCode::kNoAccount,
                    subject + ": others may read or own it; make it yours and run chmod 600");
  }
  return ParseAccount(ReadAll(fd.get()), subject);
}

void WriteAccountFile(const fs::path& file, const Account& account) {
  MakePrivateFolders(file.parent_path());
  std::string text =
      "application_key_id = " + account.key_id + "\napplication_key = " + account.key + "\n";
  if (!account.account_id.empty()) text += "account_id = " + account.account_id + "\n";
  ReplacePrivateFile(file, text);
}

Account AskForAccount() {
  Account account;
  account.key_id = Trim(Prompt("Application key ID", false));
  account.key = Trim(Prompt("Application key", true));
  if (account.key_id.empty() || account.key.empty()) {
    throw HostError(ExitCode::kNoAccount, "account: key ID and key must not be empty");
  }
  return account;
}

}  // namespace b2drive
