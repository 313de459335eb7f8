#pragma once

#include <string>

// Identifiers: "" is the root, BUCKET a bucket, BUCKET/PREFIX a folder, BUCKET/FILEID a file. Only
// the forward slash separates; a backslash counts only among the characters that lead a text.

// Without its leading slashes and backslashes. A text of nothing else stays as it is, so that
// split_container_name finds an empty container in "/".
std::string remove_head_slashes(std::string s);

// With every run of forward slashes made one. "//" becomes "/".
std::string remove_duplicated_slashes(std::string s);

// `container`: up to the first slash after the leading ones; `rest`: all after it. "/b/" gives b
// and "", "/b//x" gives b and "/x". An empty path leaves both as they are.
void split_container_name(std::string path, std::string& container, std::string& rest);

// An identifier taken apart. An empty container is the root.
struct ItemPath {
  std::string container;  // bucket ID
  std::string rest;       // folder prefix or file ID; empty for a bucket
};

ItemPath SplitIdentifier(std::string identifier);
// With the slashes cleaned up first.
ItemPath SplitNormalized(std::string identifier);

inline constexpr char kMarkerSuffix[] = "/.bzEmpty";
// Cuts the marker's suffix off a folder marker's name; other names stay.
std::string WithoutMarkerSuffix(std::string name);
