#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace b2drive {

// A place on the drive: /bucket/folder/name. Runs of slashes count as one; "." and ".." are
// ordinary names, as they are to the service. A trailing slash asks for the folder where a file has
// the same name.
class RemotePath {
 public:
  RemotePath() = default;  // the root
  explicit RemotePath(std::string_view text);

  bool IsRoot() const { return names_.empty(); }
  bool IsBucket() const { return names_.size() == 1; }
  bool asks_for_folder() const { return asks_for_folder_; }
  // Whether the text had a run of slashes behind the bucket. The service stores a//b and a/b as two
  // names, and what is to be deleted must not be mistaken.
  bool is_ambiguous() const { return ambiguous_; }
  const std::vector<std::string>& names() const { return names_; }

  std::string Name() const { return IsRoot() ? "" : names_.back(); }
  RemotePath Parent() const;  // the root's is the root
  RemotePath Child(const std::string& name) const;
  // With a leading slash, without a trailing one but for the root.
  std::string Text() const;

 private:
  std::vector<std::string> names_;
  bool asks_for_folder_ = true;
  bool ambiguous_ = false;
};

}  // namespace b2drive
