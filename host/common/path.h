#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace b2drive {

// A path on the drive is a std::string in one form: "/" is the root, "/bucket" a bucket and
// "/bucket/folder/name" what is in it; no slash ends it but the root's. "." and ".." are ordinary
// names, as they are to the service. A name is empty only where a listing shows one: the service
// takes a//b and a/b for two objects, and the folder "" in /bucket/a is "/bucket/a/".
//
//   path      ParentOf   NameOf   NamesOf
//   /         /          ""       {}
//   /b        /          b        {b}
//   /b/a      /b         a        {b, a}
//   /b/a/     /b/a       ""       {b, a, ""}

std::string ParentOf(std::string_view path);
std::string NameOf(std::string_view path);
std::vector<std::string> NamesOf(std::string_view path);
std::string Join(std::string_view folder, std::string_view name);
bool IsRoot(std::string_view path);
bool IsBucket(std::string_view path);
// Whether it is this folder, which is not the root, or below it.
bool IsAtOrBelow(std::string_view path, std::string_view folder);

// Of names below a folder, with slashes between them and none before: all but the last one, empty
// for a single one.
std::string_view FolderIn(std::string_view names);

// A path as a user writes it. A missing first slash is added, and runs of slashes count as one.
struct PathArgument {
  // Throws kUsage for an empty one: a variable that is not set must not mean the whole account.
  explicit PathArgument(std::string_view text);

  std::string path = "/";
  // A slash at the end, and the root: where a file and a folder have the name, the folder is meant.
  bool asks_for_folder = true;
  // A run of slashes behind the bucket. The service stores a//b and a/b as two names, and what is
  // to be deleted must not be mistaken.
  bool ambiguous = false;
};

}  // namespace b2drive
