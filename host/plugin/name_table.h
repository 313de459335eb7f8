#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "host/plugin/packed_entries.h"

namespace b2drive {

// Below, at or above 0 as `one` stands before, is, or stands behind `other` among a folder's names:
// as if a slash ended each, which is where the service puts folders.
int CompareNames(std::string_view one, std::string_view other);

// The entries of a folder by name, of one name the file before the folder. They are kept in pieces
// that never change once they are handed out: readers keep what they saw, and share it.
class NameTable {
 public:
  // Entries of a piece, from `first` to its end.
  struct Run {
    std::shared_ptr<const PackedEntries> piece;  // null: there are none
    std::size_t first = 0;
  };

  std::size_t size() const { return size_; }

  // False, and nothing is done, when there is one of this name and kind. `place` is the caller's.
  bool Insert(const Entry& entry, std::uint32_t place);
  void Erase(std::string_view name);  // the file and the folder
  // Before this the last piece grows, and is not handed out.
  void Seal();

  // The file where both have the name.
  std::optional<Entry> Find(std::string_view name) const;
  std::optional<Entry> Find(std::string_view name, bool folder) const;

  // Those behind `name`, or all.
  Run Behind(const std::optional<std::string>& name) const;
  // How many pieces can be handed out.
  std::size_t pieces() const { return pieces_.size() - (sealed_ || pieces_.empty() ? 0 : 1); }

  // Calls `visit` with one after the other until it returns false: with all, with those behind
  // `name`, with those from the first on whose name begins with `prefix`.
  using Visitor = std::function<bool(const PackedEntries& entries, std::size_t i)>;
  void Visit(const Visitor& visit) const { Visit({}, visit); }
  void VisitBehind(std::string_view name, const Visitor& visit) const;
  void VisitFrom(std::string_view prefix, const Visitor& visit) const;

 private:
  struct Position {
    std::size_t piece = 0;
    std::size_t entry = 0;
  };
  // Whether an entry stands before what is looked for.
  using Before = std::function<bool(std::string_view name, bool folder)>;

  Position Search(const Before& before) const;
  Position PlaceFor(std::string_view name, bool folder) const;
  bool Holds(const Position& at, std::string_view name) const;
  void Visit(Position from, const Visitor& visit) const;
  void Append(const Entry& entry, std::uint32_t place);
  void Put(const Position& at, const Entry& entry, std::uint32_t place);
  void EraseAt(const Position& at);

  std::vector<std::shared_ptr<PackedEntries>> pieces_;  // none is empty
  std::size_t size_ = 0;
  bool sealed_ = false;
};

}  // namespace b2drive
