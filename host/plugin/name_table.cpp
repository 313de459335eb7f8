#include "host/plugin/name_table.h"

#include <algorithm>

namespace b2drive {
namespace {

bool StandsBefore(const PackedEntries& entries, std::size_t i, const auto& before) {
  return before(entries.Name(i), entries.IsFolder(i));
}

std::shared_ptr<PackedEntries> CopyRun(const PackedEntries& of, std::size_t first,
                                       std::size_t end) {
  auto run = std::make_shared<PackedEntries>(of.Alike());
  run->AddRun(of, first, end);
  run->GiveBackRoom();
  return run;
}

}  // namespace

int CompareNames(std::string_view one, std::string_view other) {
  const std::size_t common = std::min(one.size(), other.size());
  const int order = one.substr(0, common).compare(other.substr(0, common));
  if (order != 0 || one.size() == other.size()) return order;
  constexpr unsigned char kEnd = '/';
  // A slash in a name, where the other ends, stands behind that end.
  if (one.size() < other.size()) {
    const auto next = static_cast<unsigned char>(other[common]);
    return kEnd <= next ? -1 : 1;
  }
  return -CompareNames(other, one);
}

NameTable::Position NameTable::Search(const Before& before) const {
  if (pieces_.empty()) return {};
  const PackedEntries& last = *pieces_.back();
  if (StandsBefore(last, last.size() - 1, before)) return {pieces_.size(), 0};
  const auto piece = std::ranges::partition_point(
      pieces_, [&](const auto& one) { return StandsBefore(*one, one->size() - 1, before); });
  std::size_t entry = 0;
  for (std::size_t end = (*piece)->size(); entry < end;) {
    const std::size_t middle = entry + (end - entry) / 2;
    StandsBefore(**piece, middle, before) ? entry = middle + 1 : end = middle;
  }
  return {static_cast<std::size_t>(piece - pieces_.begin()), entry};
}

NameTable::Position NameTable::PlaceFor(std::string_view name, bool folder) const {
  return Search([&](std::string_view one, bool one_is_folder) {
    const int order = CompareNames(one, name);
    return order < 0 || (order == 0 && !one_is_folder && folder);
  });
}

bool NameTable::Holds(const Position& at, std::string_view name) const {
  return at.piece < pieces_.size() && pieces_[at.piece]->Name(at.entry) == name;
}

bool NameTable::Insert(const Entry& entry, std::uint32_t place) {
  const Position at = PlaceFor(entry.name, entry.folder);
  if (Holds(at, entry.name) && pieces_[at.piece]->IsFolder(at.entry) == entry.folder) return false;
  if (at.piece < pieces_.size()) {
    Put(at, entry, place);
  } else if (sealed_ && !pieces_.empty() && !pieces_.back()->IsFull()) {
    Put({at.piece - 1, pieces_.back()->size()}, entry, place);
  } else {
    Append(entry, place);
  }
  ++size_;
  return true;
}

void NameTable::Append(const Entry& entry, std::uint32_t place) {
  if (pieces_.empty() || pieces_.back()->IsFull() || sealed_) {
    if (!pieces_.empty()) pieces_.back()->GiveBackRoom();
    pieces_.push_back(std::make_shared<PackedEntries>());
  }
  pieces_.back()->Add(entry, place);
}

void NameTable::Put(const Position& at, const Entry& entry, std::uint32_t place) {
  const PackedEntries& before = *pieces_[at.piece];
  auto with = std::make_shared<PackedEntries>(before.Alike());
  with->AddRun(before, 0, at.entry);
  with->Add(entry, place);
  with->AddRun(before, at.entry, before.size());
  const auto here = pieces_.begin() + static_cast<std::ptrdiff_t>(at.piece);
  if (before.IsFull() && with->size() > 1) {
    const std::size_t half = with->size() / 2;
    *here = CopyRun(*with, half, with->size());
    pieces_.insert(here, CopyRun(*with, 0, half));
  } else {
    with->GiveBackRoom();
    *here = std::move(with);
  }
}

void NameTable::Erase(std::string_view name) {
  for (Position at = PlaceFor(name, false); Holds(at, name); at = PlaceFor(name, false)) {
    EraseAt(at);
  }
}

void NameTable::EraseAt(const Position& at) {
  const PackedEntries& before = *pieces_[at.piece];
  auto without = CopyRun(before, 0, at.entry);
  without->AddRun(before, at.entry + 1, before.size());
  without->GiveBackRoom();
  const auto here = pieces_.begin() + static_cast<std::ptrdiff_t>(at.piece);
  if (without->size() == 0) {
    pieces_.erase(here);
    // The last one is about to grow, and may have been handed out when it was not the last.
    if (!sealed_ && at.piece == pieces_.size() && at.piece > 0) {
      pieces_.back() = CopyRun(*pieces_.back(), 0, pieces_.back()->size());
    }
  } else {
    *here = std::move(without);
  }
  --size_;
}

void NameTable::Seal() {
  sealed_ = true;
  if (!pieces_.empty()) pieces_.back()->GiveBackRoom();
  pieces_.shrink_to_fit();
}

std::optional<Entry> NameTable::Find(std::string_view name) const {
  const Position at = PlaceFor(name, false);
  return Holds(at, name) ? std::optional(pieces_[at.piece]->At(at.entry)) : std::nullopt;
}

std::optional<Entry> NameTable::Find(std::string_view name, bool folder) const {
  const Position at = PlaceFor(name, folder);
  if (!Holds(at, name) || pieces_[at.piece]->IsFolder(at.entry) != folder) return std::nullopt;
  return pieces_[at.piece]->At(at.entry);
}

NameTable::Run NameTable::Behind(const std::optional<std::string>& name) const {
  Position at;
  if (name) at = Search([&](std::string_view one, bool) { return CompareNames(one, *name) <= 0; });
  if (at.piece >= pieces()) return {};
  return {pieces_[at.piece], at.entry};
}

void NameTable::VisitBehind(std::string_view name, const Visitor& visit) const {
  Visit(Search([&](std::string_view one, bool) { return CompareNames(one, name) <= 0; }), visit);
}

void NameTable::VisitFrom(std::string_view prefix, const Visitor& visit) const {
  Visit(Search([&](std::string_view one, bool) {
          return CompareNames(one, prefix) < 0 && !one.starts_with(prefix);
        }),
        visit);
}

void NameTable::Visit(Position from, const Visitor& visit) const {
  for (; from.piece < pieces_.size(); from = {from.piece + 1, 0}) {
    const PackedEntries& entries = *pieces_[from.piece];
    for (std::size_t i = from.entry; i < entries.size(); ++i) {
      if (!visit(entries, i)) return;
    }
  }
}

}  // namespace b2drive
