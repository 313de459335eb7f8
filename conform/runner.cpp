#include "conform/runner.h"

#include <fnmatch.h>

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <future>
#include <iostream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <thread>

#include "conform/cases.h"
#include "conform/process.h"
#include "conform/service.h"

namespace conform {
namespace {

namespace fs = std::filesystem;

constexpr char kSelf[] = "/proc/self/exe";

bool Wanted(const Case& one, const std::vector<std::string>& only) {
  return only.empty() || std::ranges::any_of(only, [&](const std::string& pattern) {
           return fnmatch(pattern.c_str(), one.name.c_str(), 0) == 0;
         });
}

// Where cases run: copies of this program, since a module trusts what stands beside its host's
// program, each worker's in a folder of its own; goes with the object.
class Folders {
 public:
  // All copies are made before the first runs: no program can be started while a file descriptor
  // that it was written through is open, and a process that another thread starts may have it.
  explicit Folders(int workers) : root_(fs::temp_directory_path() / "b2conform-XXXXXX") {
    std::string name = root_.string();
    if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("no folder " + name);
    root_ = name;
    for (int worker = 0; worker < workers; ++worker) {
      fs::create_directories(Of(worker) / "bin");
      fs::copy_file(kSelf, Of(worker) / "bin/b2conform");
    }
  }
  ~Folders() {
    std::error_code ignored;
    fs::remove_all(root_, ignored);
  }
  Folders(const Folders&) = delete;
  Folders& operator=(const Folders&) = delete;

  // The program to run.
  std::string Prepare(int worker, bool bare) const {
    const fs::path frameworks = Of(worker) / "Frameworks";
    if (bare) {
      fs::remove_all(frameworks);
    } else {
      fs::create_directories(frameworks);
    }
    return (Of(worker) / "bin/b2conform").string();
  }

 private:
  fs::path Of(int worker) const { return root_ / std::to_string(worker); }

  fs::path root_;
};

void PrintOutcome(const Outcome& outcome) {
  if (!outcome.passed()) {
    std::cout << "  ---\n  findings:\n";
    for (const Finding& finding : outcome.findings) {
      for (const auto& [mark, key, text] : {std::tuple{"-", "what", &finding.what},
                                            {" ", "expected", &finding.expected},
                                            {" ", "got", &finding.got}}) {
        // What JSON quotes, YAML reads.
        const nlohmann::json quoted = *text;
        std::cout << "    " << mark << ' ' << key << ": "
                  << quoted.dump(-1, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
      }
    }
    std::cout << "  ...\n";
  }
  std::istringstream lines(outcome.passed() ? "" : outcome.output);
  for (std::string line; std::getline(lines, line);) std::cout << "# " << line << '\n';
}

// Takes cases until there are none left.
class Run {
 public:
  Run(const RunOptions& options, std::vector<const Case*> cases)
      : options_(options),
        folders_(options.jobs),
        cases_(std::move(cases)),
        outcomes_(cases_.size()) {}

  // Prints in order while workers go ahead. How many failed.
  int Go() {
    std::vector<std::jthread> workers;
    workers.reserve(static_cast<std::size_t>(options_.jobs));
    for (int i = 0; i < options_.jobs; ++i) workers.emplace_back([this, i] { Work(i); });
    int failed = 0;
    for (std::size_t i = 0; i < cases_.size(); ++i) failed += Print(i) ? 0 : 1;
    return failed;
  }

 private:
  bool Skipped(const Case& one) const { return one.slow && !options_.slow; }

  void Work(int worker) {
    for (std::size_t i; (i = next_++) < cases_.size();) {
      try {
        outcomes_[i].set_value(Skipped(*cases_[i]) ? Outcome() : RunOne(*cases_[i], worker));
      } catch (...) {
        outcomes_[i].set_exception(std::current_exception());
      }
    }
  }

  Outcome RunOne(const Case& one, int worker) const {
    const std::string program = folders_.Prepare(worker, one.bare);
    return RunCase(
        {program, "--plugin", options_.plugin, "--emulator", options_.emulator, "--case", one.name},
        one.slow ? options_.limit * 4 : options_.limit);
  }

  bool Print(std::size_t i) {
    const Outcome outcome = outcomes_[i].get_future().get();
    std::cout << (outcome.passed() ? "ok " : "not ok ") << i + 1 << " - " << cases_[i]->name
              << (Skipped(*cases_[i]) ? " # SKIP takes a minute: --slow\n" : "\n");
    PrintOutcome(outcome);
    std::cout.flush();
    return outcome.passed();
  }

  const RunOptions& options_;
  const Folders folders_;
  const std::vector<const Case*> cases_;
  std::vector<std::promise<Outcome>> outcomes_;
  std::atomic<std::size_t> next_ = 0;
};

}  // namespace

bool RunCases(const RunOptions& options) {
  std::vector<const Case*> cases;
  for (const Case& one : AllCases()) {
    if (Wanted(one, options.only)) cases.push_back(&one);
  }
  if (cases.empty()) throw std::invalid_argument("--only: no case has such a name");
  std::cout << "TAP version 13\n1.." << cases.size() << std::endl;
  const int failed = Run(options, cases).Go();
  if (failed > 0) std::cout << "# " << failed << " of " << cases.size() << " failed\n";
  return failed == 0;
}

void RunThisCase(const std::string& name, const std::string& plugin, const std::string& emulator) {
  const auto& cases = AllCases();
  const auto found = std::ranges::find(cases, name, &Case::name);
  if (found == cases.end()) throw std::invalid_argument("no case " + name);
  const fs::path self = fs::read_symlink(kSelf);
  TheSettings() = {plugin, emulator, self.parent_path().parent_path().string()};
  try {
    found->run();
  } catch (const std::exception& error) {
    Find("the case", "goes on to its end", error.what());
  } catch (AERROR code) {
    Find("the case", "goes on to its end", "the module has thrown " + Show(code));
  }
  SendDone();
}

void ListCases(const std::vector<std::string>& only) {
  for (const Case& one : AllCases()) {
    if (Wanted(one, only)) std::cout << one.name << (one.slow ? " (slow)\n" : "\n");
  }
}

}  // namespace conform
