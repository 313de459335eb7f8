#include "host/common/remote_path.h"

namespace b2drive {

RemotePath::RemotePath(std::string_view text) {
  while (!text.empty()) {
    std::size_t slash = text.find('/');
    std::string_view name = text.substr(0, slash);
    ambiguous_ = ambiguous_ || (name.empty() && !names_.empty());
    if (!name.empty()) names_.emplace_back(name);
    asks_for_folder_ = slash != std::string_view::npos;
    text.remove_prefix(asks_for_folder_ ? slash + 1 : text.size());
  }
}

RemotePath RemotePath::Parent() const {
  RemotePath parent = *this;
  if (!parent.names_.empty()) parent.names_.pop_back();
  parent.asks_for_folder_ = true;
  return parent;
}

RemotePath RemotePath::Child(const std::string& name) const {
  RemotePath child = *this;
  child.names_.push_back(name);
  child.asks_for_folder_ = false;
  return child;
}

std::string RemotePath::Text() const {
  if (names_.empty()) return "/";
  std::string text;
  for (const std::string& name : names_) text += "/" + name;
  return text;
}

}  // namespace b2drive
