#pragma once

#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

#include "host/common/unique_fd.h"

namespace b2drive {

// What a download that was cut short leaves beside a file, and goes on with the next time.
bool IsPartName(std::string_view name);

// Appends the names in an open folder, but for "." and "..". 0 or an errno; the names that came
// before it count.
int ReadNames(int folder, std::vector<std::string>& names);

// Why nothing on this system can have that name; null when something can.
const char* WhyNoName(std::string_view name);

// A folder in which a tree is made. What is in it is reached from its descriptor, name by name and
// never through a link, so nobody who puts a link there, at whatever moment, leads out of it.
// Thread-safe.
class LocalFolders {
 public:
  // Makes the folder if it is missing; its parent must exist. The way to it may have links: it is
  // the user's. Throws kLocalFile.
  explicit LocalFolders(const std::filesystem::path& root);

  // Opens the folder at `path`, names below the root with slashes between them or none, and makes
  // what is missing of them. Throws kLocalFile; kWrongKind when a file or a link stands in the way.
  UniqueFd Open(std::string_view path) const { return Open(path, Missing::kMake); }
  // The same, but what is missing is a failure, too.
  UniqueFd OpenExisting(std::string_view path) const { return Open(path, Missing::kRefuse); }

  // Puts the names of all that was made on disk, if the file system can.
  void Secure() const;

  // For messages.
  std::filesystem::path PathOf(std::string_view path) const { return root_ / path; }

 private:
  enum class Missing { kMake, kRefuse };

  UniqueFd Open(std::string_view path, Missing missing) const;
  UniqueFd Enter(int folder, const std::string& name, std::string_view path, Missing missing) const;

  const std::filesystem::path root_;
  UniqueFd fd_;
};

}  // namespace b2drive
