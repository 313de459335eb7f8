#include "tests/support/fault_matrix.h"

#include <sys/wait.h>
#include <unistd.h>

#include <random>
#include <set>

#include "tests/support/memory.h"

namespace fault_matrix {
namespace {

using emulator::Fault, emulator::Request;
using Clients = std::function<std::unique_ptr<Client>()>;
using Counts = std::map<std::string, std::size_t>;

constexpr char kElsewhere[] = "other.backblazeb2.com";
constexpr std::size_t kProcesses = 16;
// Calls a second; a large upload opens eight connections besides.
constexpr std::size_t kMostMore = 18;
// Of one that repeats: the first attempts are close, and the plug-in makes several calls in each.
constexpr std::size_t kMostMoreOfPatient = 22;
constexpr std::size_t kMostUnfinished = 5;  // large files

struct Row {
  std::string title;
  std::size_t operation;
  Fault fault;
  Counts undisturbed;
};

enum Pace { kQuick, kSlowForEver, kSlow };

struct Trouble {
  const char* title;
  Fault fault;
  const char* calls = "";  // part of their names
  Pace pace = kQuick;
};

const std::vector<Trouble> kTroubles = {
    {"401", {.status = 401, .code = "expired_auth_token"}},
    {"403", {.status = 403}},
    {"408", {.status = 408}},
    {"429", {.status = 429, .retry_after = 1}, "", kSlowForEver},
    {"500", {.status = 500}},
    {"503", {.status = 503}},
    {"500, but done", {.status = 500, .commit = true}},
    {"503, but done", {.status = 503, .commit = true}},
    {"200 for a range", {.ignore_range = true}, "download"},
    {"cut before the body", {.cut_after = 0}},
    {"cut in the body", {.cut_after = 20}},
    {"stall", {.stall = true}, "", kSlow},
    {"stall in the body", {.stall = true, .cut_after = 20}, "", kSlow},
    {"drip", {.drip = 3}, "", kSlow},
    {"answer lost", {.cut_request_after = UINT64_MAX, .commit = true}},
    {"cursor repeats", {.repeat_cursor = true}, "list_file"},
    {"redirect", {.status = 302, .location = "https://" + std::string(kElsewhere) + "/x"}},
    {"redirect to http", {.status = 307, .location = "http://api.backblazeb2.com/x"}},
    {"http URL", {.replace = {{"https://", "http://"}}}, "authorize"},
    {"http URL", {.replace = {{"https://", "http://"}}}, "_url"}};

std::unique_ptr<Client> NewClient(const Clients& make) {
  static const std::vector<std::pair<std::string, std::string>> kFiles = {
      {"a", "old"}, {"a", "new"}, {"c", "c"}, {"e/.bzEmpty", ""}, {"large", kLarge}, {"p/x", "x"}};
  auto client = make();
  emulator::Store& store = client->Service().store();
  for (const auto& [name, text] : kFiles) emulator::AddText(store, "bucket", name, text);
  client->Service().ClearRequests();
  return client;
}

void ExpectDone(const Contents& before, const Operation& operation, bool succeeded,
                const Contents& now) {
  Contents after = operation.added;
  after.merge(Contents(before));
  const bool both = now == after;
  after.erase(operation.removed);
  std::string shown;
  for (const auto& [name, text] : now) shown += name + "=" + text.substr(0, 9) + " ";
  EXPECT_TRUE(now == after || (!succeeded && (now == before || both))) << shown;
}

std::size_t MostInASecond(const std::vector<Request>& requests, const std::string& call) {
  std::size_t most = 0;
  for (auto from = requests.begin(), to = from; to != requests.end(); ++to) {
    while (to->arrived - from->arrived > std::chrono::seconds(1)) ++from;
    const auto count = std::count_if(from, to + 1, [&](auto& one) { return one.call == call; });
    most = std::max(most, static_cast<std::size_t>(count));
  }
  return most;
}

void ExpectSober(const std::vector<Request>& requests, Counts undisturbed, std::size_t more) {
  for (const Request& request : requests) {
    undisturbed[request.call] += 0;
    EXPECT_TRUE((request.secure && request.host != kElsewhere) ||
                request.Header("Authorization").empty())
        << "a secret went to " << request.host << request.target;
  }
  for (const auto& [call, count] : undisturbed) {
    EXPECT_LE(MostInASecond(requests, call), count + more) << call;
  }
}

// Whether a repetition helps.
bool Passes(const Fault& fault) {
  const bool signs_in = fault.call == "b2_authorize_account";
  return fault.times == 1 && fault.status != 403 && fault.replace.empty() &&
         fault.location.empty() && !(signs_in && fault.status == 401);
}

// For the same call, once.
Fault AnotherKind(const Fault& fault) {
  if (fault.status == 0) return {.call = fault.call, .status = 503};
  return {.call = fault.call, .cut_after = 20};
}

void ExpectOnce(const Operation& operation, const emulator::Store& store) {
  for (const auto& [name, text] : operation.added) {
    const Texts versions = emulator::Versions(store, "bucket", name);
    EXPECT_EQ(std::ranges::count(versions, text), 1) << name;
  }
}

// Gives the calls that it made.
Counts RunRow(const Row& row, const Operation& operation, const Clients& make) {
  const testing::ScopedTrace trace(__FILE__, __LINE__, row.title);
  const auto client = NewClient(make);
  emulator::Emulator& service = client->Service();
  const Contents before = StoredIn(service.store());
  service.AddFault(row.fault);
  const bool comes_through = client->IsPatient() && Passes(row.fault);
  if (comes_through) service.AddFault(AnotherKind(row.fault));
  const bool succeeded = client->Perform(row.operation);
  EXPECT_TRUE(succeeded || (row.fault.times != 0 && !comes_through));
  if (comes_through && !operation.added.empty()) ExpectOnce(operation, service.store());
  const std::vector<Request> requests = service.requests();
  ExpectSober(requests, row.undisturbed, client->IsPatient() ? kMostMoreOfPatient : kMostMore);
  EXPECT_LE(service.store().UnfinishedCount(), kMostUnfinished);
  ExpectDone(before, operation, succeeded, StoredIn(service.store()));
  service.ClearFaults();
  client->Recover();
  ExpectDone(before, operation, succeeded, StoredIn(service.store()));
  Counts calls;
  for (const Request& request : requests) ++calls[request.call];
  return calls;
}

// The first and the last of the calls of each name.
void AddRows(const Row& calm, const std::string& call, std::vector<Row>& rows) {
  const bool patient = std::getenv("B2_MOUNT_TEST_LONG") != nullptr;
  const auto last = static_cast<int>(calm.undisturbed.at(call)) - 1;
  for (const Trouble& trouble : kTroubles) {
    if (call.find(trouble.calls) == call.npos) continue;
    for (const int skip : std::set{0, last}) {
      for (const int times : {1, -1}) {
        if (!patient && trouble.pace + (times < 0 ? 1 : 0) > kSlowForEver) continue;
        Row& row = rows.emplace_back(calm);
        row.title += ", " + call + " " + std::to_string(skip + 1) + ": " + trouble.title +
                     (times < 0 ? " always" : " once");
        row.fault = trouble.fault;
        row.fault.call = call;
        row.fault.skip = skip;
        row.fault.times = times;
      }
    }
  }
}

std::vector<Row> AllRows(const std::vector<Operation>& operations, const Clients& make) {
  std::vector<Row> rows;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    Row calm{operations[i].line, i, {.times = 0}, {}};
    calm.undisturbed = RunRow(calm, operations[i], make);
    for (const auto& [call, count] : calm.undisturbed) {
      if (call.find(operations[i].disturbed) != call.npos) AddRows(calm, call, rows);
    }
  }
  std::shuffle(rows.begin(), rows.end(), std::minstd_rand());
  // Sanitizers take their time.
  rows.resize(rows.size() / (kMemoryIsMeasurable ? 1 : 5));
  return rows;
}

// Every so-manieth row from `first` on; how many were violations.
int RunShare(const std::vector<Row>& rows, std::size_t first,
             const std::vector<Operation>& operations, const Clients& make) {
  const auto* result = testing::UnitTest::GetInstance()->current_test_info()->result();
  int violations = 0;
  for (std::size_t at = first; at < rows.size(); at += kProcesses) {
    const int before = result->total_part_count();
    RunRow(rows[at], operations[rows[at].operation], make);
    if (result->total_part_count() > before) ++violations;
  }
  std::fflush(stdout);
  return violations;
}

}  // namespace

void Run(const std::vector<Operation>& operations, const Clients& make) {
  const std::vector<Row> rows = AllRows(operations, make);
  std::fflush(stdout);
  for (std::size_t process = 0; process < kProcesses; ++process) {
    if (fork() == 0) _exit(RunShare(rows, process, operations, make));
  }
  int violations = 0;
  for (int status = 0; wait(&status) > 0;)
    violations += WIFEXITED(status) ? WEXITSTATUS(status) : 1;
  std::printf("rows: %zu, violations: %d\n", rows.size(), violations);
  EXPECT_EQ(violations, 0);
}

}  // namespace fault_matrix
