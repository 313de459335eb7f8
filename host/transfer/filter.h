#pragma once

#include <bitset>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace b2drive {

// Which files and folders of a tree are meant: rules in the order in which they were added, with
// rsync's meaning. The first one that matches decides; what no rule matches is taken.
//
//   "*", "?" and "[a-z]" match within a name, "**" across names, and a backslash quotes in a
//   pattern that has any of them. "dir/***" is a folder and everything in it.
//   "/a" matches at the root of the tree only, "a/" folders only, "a" the last name of a path,
//   "a/b" the last two of them.
class Filter {
 public:
  // One rule, which begins with "+ " or "- " if it means the opposite. "!" drops all earlier ones.
  // Throws kUsage for an empty one, and for a set without its end.
  void Include(const std::string& rule) { Add(rule, true); }
  void Exclude(const std::string& rule) { Add(rule, false); }
  // Rules to exclude, one a line; "-" is standard input. Empty lines and those that begin with "#"
  // or ";" are left out. Throws kLocalFile.
  void ExcludeFrom(const std::filesystem::path& file);

  bool empty() const { return rules_.empty(); }
  // Whether there are rules, and none that leaves anything out.
  bool TakesAll() const;

  // Whether `path` is taken: its names from the root of the tree on with slashes between them, and
  // none before the first. Nothing in a folder that is not taken is meant, which is the caller's to
  // see to.
  bool Takes(std::string_view path, bool folder) const;

 private:
  enum class Place { kRoot, kLastNames, kAnyName };

  // One byte of a set, or any number of bytes.
  struct Token {
    enum class Kind { kByte, kStar, kDeepStar };
    Kind kind = Kind::kByte;
    std::bitset<256> bytes;
  };
  struct Rule {
    bool take = false;
    bool folders_only = false;
    bool folder_has_slash = false;  // "a/***" is to match "a/", too
    bool slash_before = false;      // "**/a" is to match "/a", too
    Place place = Place::kLastNames;
    std::size_t names = 1;  // for kLastNames
    std::vector<Token> tokens;
  };

  void Add(std::string_view rule, bool take);
  static std::vector<Token> Tokens(std::string_view pattern);
  static bool Matches(const Rule& rule, std::string_view path, bool folder);
  static bool MatchesAll(const std::vector<Token>& tokens, std::string_view text);

  std::vector<Rule> rules_;
};

}  // namespace b2drive
