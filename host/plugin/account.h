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

// b2drive/account in the user's configuration folder.
std::filesystem::path AccountFile();

// The environment's account, else the account file's, else the one that the user types.
Account FindAccount();

}  // namespace b2drive
