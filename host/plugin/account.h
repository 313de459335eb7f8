#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace b2drive {

// What signs in at the service.
struct Account {
  std::string key_id;
  std::string key;
  std::string account_id;  // may be empty, see AccountId

  // The account that calls name. For the master key it is the key ID itself; the 25 characters of
  // any other key ID hold it after the third.
  std::string AccountId() const;
};

// Reads the lines "application_key_id = ...", "application_key = ..." and perhaps "account_id =
// ..."; empty lines and lines beginning with # are skipped. Throws kNoAccount naming `subject`.
Account ParseAccount(std::string_view text, const std::string& subject);

// Reads an account file. Throws kNoAccount when others than its owner could read it.
Account ReadAccountFile(const std::filesystem::path& file);

// Puts `account` in the place of what `file` holds, for nobody else to read; the old contents stay
// until the new ones are on disk. Makes the folders. Throws kLocalFile.
void WriteAccountFile(const std::filesystem::path& file, const Account& account);

// Asks on the terminal. Throws kNoAccount when there is none, or when the answers are empty.
Account AskForAccount();

}  // namespace b2drive
