#include "tests/support/drive_test.h"

#include <filesystem>
#include <nlohmann/json.hpp>

#include "util/executable_path.h"

namespace fs = std::filesystem;
using nlohmann::json;

std::unique_ptr<emulator::Emulator> StartEmulator(int part_size) {
  const auto folder = fs::path(util::ExecutablePath()).parent_path().parent_path() / "Frameworks";
  fs::create_directories(folder);
  emulator::Options options{.ca_file = folder / "cacert.pem", .ca_key_file = folder / "ca-key.pem"};
  if (part_size != 0) {
    options.recommended_part_size = part_size;
    options.absolute_minimum_part_size = 100;
  }
  auto emulator = std::make_unique<emulator::Emulator>(options);
  emulator::EnsureBucket(emulator->store(), "bucket");
  return emulator;
}

Contents StoredIn(const emulator::Store& store) {
  Contents stored;
  for (Text name : emulator::VisibleNames(store, "bucket")) {
    stored[name] = emulator::ReadText(store, "bucket", name);
  }
  return stored;
}

std::string AccountForm(const emulator::Emulator& emulator, Text wrong_key) {
  json form;
  form["values"]["account_id"]["value"] = emulator.account_id();
  form["values"]["application_key"]["value"] = wrong_key.empty() ? emulator.key() : wrong_key;
  return form.dump();
}

std::string ProxyForm(const emulator::Emulator& emulator, Text type) {
  json proxy{{"type", type}, {"host", "127.0.0.1"}, {"user", ""}, {"password", ""}};
  proxy["port"] = emulator.port();
  return json{{"values", {{"proxy", {{"value", proxy}}}}}}.dump();
}

AERROR ConnectTo(const emulator::Emulator& emulator, const ProtocolPtr& drive) {
  drive->SetOpt("option_fields", ProxyForm(emulator).c_str());
  return drive->Connect(nullptr, AccountForm(emulator).c_str());
}

_FS_FILE_V2 RecordOf(Text name, std::uint64_t size, Text id) {
  _FS_FILE_V2 record;
  record.name = name;
  record.size = size;
  record.id = id;
  return record;
}

DriveTest::DriveTest(int part_size)
    : ServiceTest(part_size),
      drive(plugin.NewProtocol()),
      bucket(store().FindBucket("bucket")->id) {
  plugin.Get<module_api::BindLogger>("BindLogger")(&log);
  if (ConnectTo(*service, drive) != SUCCESS) throw std::runtime_error("not connected");
}

DriveTest::~DriveTest() {
  drive.reset();
  plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
}
