// A spool folder after a kill, damaged from outside: what was acknowledged and is whole comes back,
// nothing older in its place, nothing whose entry was removed; what is damaged hinders nothing.

#include <fstream>
#include <map>
#include <vector>

#include "host/local/local_io.h"
#include "host/mount/journal/spool.h"
#include "tests/fuzz/input.h"

namespace {

using namespace b2drive::mount;
namespace fs = std::filesystem;

using Contents = std::map<std::string, std::string>;  // by path

struct Entered {
  SpoolPtr file;
  std::string contents;
  std::string path;
  int order = 0;  // 0: has no entry
  bool secured = false;
  bool whole = true;
};

// "m TEXT", "enter N PATH", "secure N PATH" or "x N", which removes an entry.
void Use(Spool& spool, fuzz::Input words, std::vector<Entered>& all, int order) {
  const char step = words.Pick("mesx");
  if (step == 'm' || all.empty()) {
    all.push_back({spool.Make(), words.Rest(), ""});
    return spool.Write(*all.back().file, all.back().contents.data(), all.back().contents.size(), 0);
  }
  Entered& one = all[words.Number(all.size())];
  one.order = step == 'x' ? 0 : order;
  one.secured = step == 's' || (step == 'e' && one.secured);
  one.path = words.Rest();
  if (step == 'e') spool.Enter(*one.file, {one.path, "base", {{3, 4}}});
  if (step == 's') spool.Secure(*one.file, {one.path, "", {}});
  if (step == 'x') spool.RemoveEntry(*one.file);
}

// "cut N SIZE" or "zero N" for an entry, "truncate N SIZE" for its contents. False when all of the
// file is left.
bool Damage(fuzz::Input& words, char kind, const Entered& one) {
  const fs::path file = one.file->file().string() + (kind == 't' ? "" : ".json");
  if (!fs::exists(file) || fs::is_empty(file)) return false;
  const std::uint64_t size = fs::file_size(file);
  fs::resize_file(file, kind == 'z' ? 0 : words.Number(size));
  if (kind == 'z') fs::resize_file(file, size);
  return true;
}

// "file NAME TEXT"; false when it may be taken for an entry or for contents.
bool AddFile(fuzz::Input& words, const fs::path& folder) {
  const std::string name = words.Word();
  if (name.empty() || name.size() > 99 || name.find_first_of(std::string("/\0", 2)) != name.npos) {
    return true;
  }
  const bool strange = !name.ends_with(".json") && !fs::exists(folder / name);
  std::ofstream(folder / name) << words.Rest();
  return strange;
}

Contents Expected(const std::vector<Entered>& all, bool same_boot) {
  std::map<int, const Entered*> in_order;
  for (const Entered& one : all) {
    if (one.order != 0 && one.whole && (one.secured || same_boot)) in_order[one.order] = &one;
  }
  Contents expected;
  for (const auto& [order, one] : in_order) expected[one->path] = one->contents;
  return expected;
}

std::pair<Contents, std::size_t> Recover(const fs::path& folder, const std::string& boot) {
  Spool spool(SystemDisk(), folder, boot);
  const Spool::Found found = spool.Recover();
  Contents unsent;
  for (const Unsent& one : found.unsent) {
    std::string& contents = unsent[one.destination.path];
    contents.resize(one.contents->Size());
    b2drive::ReadAt(one.contents->fd(), contents.data(), contents.size(), 0);
  }
  // Something new takes no other's place.
  const SpoolPtr next = spool.Make();
  spool.Secure(*next, {"/new", "", {}});
  spool.RemoveEntry(*next);
  return {unsent, found.damaged.size()};
}

}  // namespace

// "same|other" boot, steps of a mount, a line "kill", steps of damage.
void fuzz::Run(Input& input) {
  const fs::path folder = fuzz::Folder() / "spool";
  fs::remove_all(folder);
  const bool same_boot = fuzz::Input(input.Line()).Pick("so") == 's';
  std::vector<Entered> all;
  constexpr std::uint64_t kNoLog = 0;  // from which files that were damaged would be made again
  Spool spool(SystemDisk(), folder, "one", kNoLog);
  int steps = 0;
  for (std::string line = input.Line(); line != "kill" && !input.AtEnd(); line = input.Line()) {
    Use(spool, fuzz::Input(line), all, ++steps);
  }
  bool known = true;
  while (!input.AtEnd()) {
    fuzz::Input words(input.Line());
    const char kind = words.Pick("cztf");
    if (kind == 'f' || all.empty()) {
      known = AddFile(words, folder) && known;
    } else {
      Entered& one = all[words.Number(all.size())];
      one.whole = !Damage(words, kind, one) && one.whole;
    }
  }
  const auto first = Recover(folder, same_boot ? "one" : "two");
  fuzz::Must(!known || first.first == Expected(all, same_boot), "what was acknowledged comes back");
  fuzz::Must(Recover(folder, "three") == first, "a second start finds the same");
}
