// Hostile names: what a path finds is what it names, and deleting that deletes nothing else.

#include <set>

#include "emulator/errors.h"
#include "emulator/seeding.h"
#include "emulator/service.h"
#include "host/common/errors.h"
#include "host/plugin/drive.h"
#include "host/plugin/path_index.h"
#include "tests/fuzz/scripted_pool.h"

namespace {

using namespace b2drive;
using Names = std::set<std::string>;

constexpr char kForm[] =
    R"({"values":{"account_id":{"value":"id"},"application_key":{"value":"key"}}})";

class NoBody final : public emulator::BodySource {
 public:
  std::size_t Read(char*, std::size_t) override { return 0; }
};

// The service, asked without a connection. Its pages are short.
class Service {
 public:
  explicit Service(fuzz::Input names) {
    emulator::EnsureBucket(store_, "bucket");
    while (!names.AtEnd()) try {
        emulator::AddText(store_, "bucket", names.Line(), "x");
      } catch (const emulator::ServiceError&) {  // no name of the service's
      }
  }

  _CURLRTN Answer(const fuzz::Transfer& transfer) {
    emulator::Incoming incoming;
    incoming.record.method = "POST";
    incoming.path = transfer.request.GetURL();
    incoming.path.erase(0, incoming.path.find("/b2api"));
    incoming.record.body = transfer.body;
    for (const auto& header : transfer.request.GetHeader()) {
      incoming.record.headers.push_back(header);
    }
    emulator::Service::Route(incoming);
    NoBody none;
    const emulator::Answer answer = service_.Handle(incoming, none);
    return fuzz::AnswerOf(answer.status, answer.body);
  }

  Names Stored() const {
    Names names;
    for (const auto& one : store_.ListVersions(store_.FindBucket("bucket")->id, {}).entries) {
      names.insert(one.version->name);
    }
    return names;
  }

 private:
  emulator::Store store_;
  emulator::Access access_{"id", "key", std::chrono::hours(1)};
  emulator::Service service_{{.page_cap = 3}, store_, access_};
};

// Deletes an item, and from `names` what goes with it.
void Delete(Drive& drive, const std::string& path, const Entry& entry, Names& names) {
  const std::string name = path.substr(sizeof "/bucket");
  if (entry.folder) {
    drive.DeleteFolder(entry, path);
    std::erase_if(names, [&](const auto& one) { return one.starts_with(name + "/"); });
    return;
  }
  fuzz::Must(names.contains(name), "a path finds what is there");
  drive.DeleteFile(entry, path);
  names.erase(name);
}

}  // namespace

// A path, then a line for each version, which is its name.
void fuzz::Run(Input& input) {
  const PathArgument argument("/bucket/" + input.Line());
  Service service{fuzz::Input(input.Rest())};
  Names names = service.Stored();
  fuzz::ScriptedRequest::AnswerWith(
      [&](const fuzz::Transfer& transfer) { return service.Answer(transfer); });
  BackBlazeB2 protocol("", nullptr);
  protocol.SetOpt("exact_delete", "true");
  fuzz::Must(protocol.Connect(nullptr, kForm) == AERROR::SUCCESS, "a sign-in");
  Drive drive(protocol, b2drive::View::kFiles);
  PathIndex index(
      [&](auto& id, auto& folder, auto& receiver) { drive.List(id, folder, receiver); });
  try {
    const auto found = index.Lookup(argument);
    if (found && !IsBucket(argument.path)) Delete(drive, argument.path, *found, names);
  } catch (const HostError&) {
  }
  fuzz::Must(service.Stored() == names, "nothing else is deleted");
}
