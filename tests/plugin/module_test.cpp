#include <unistd.h>

#include <filesystem>

#include "tests/support/drive_test.h"

namespace {

class Manager final : public IProtocolManager {
 public:
  AERROR GetText(const char* key, char* buffer, int* size) override {
    if (throws) throw FAILED;
    asked = std::string(key) + " " + std::to_string(*size);
    *buffer = '\0';
    return SUCCESS;
  }

  std::string asked;
  bool throws = false;
};

class ModuleTest : public testing::Test {
 protected:
  std::string Form(const char* symbol) const {
    const auto get = plugin.Get<module_api::GetAuthFields>(symbol);
    int size = 0;
    EXPECT_EQ(get(nullptr, &size), INSUFFICIENT_BUFFER);
    std::string text(static_cast<std::size_t>(size), 'x');  // and a place for the end
    EXPECT_EQ(get(text.data(), &size), SUCCESS);
    return text;
  }

  Plugin plugin;
  ProtocolPtr drive{plugin.NewProtocol()};
};

// A slot of an object, as a host built by another compiler reaches it: by position alone.
template <class... Arguments>
AERROR Call(void* object, int slot, Arguments... arguments) {
  void** const slots = *static_cast<void***>(object);
  return reinterpret_cast<AERROR (*)(void*, Arguments...)>(slots[slot])(object, arguments...);
}

TEST_F(ModuleTest, BindingReplacesButNeverByNull) {
  RecordingLog log;
  auto* const queue = reinterpret_cast<IAsyncQ*>(&log);
  const auto bind_log = plugin.Get<module_api::BindLogger>("BindLogger");
  const auto bind_queue = plugin.Get<module_api::BindAsyncQ>("BindAsyncQ");
  auto** const logger = static_cast<ILog**>(plugin.Symbol("logger"));
  auto** const aq = static_cast<void**>(plugin.Symbol("aq"));
  EXPECT_TRUE(bind_log(&log) && bind_queue(queue));
  EXPECT_FALSE(bind_log(nullptr) || bind_queue(nullptr));
  EXPECT_EQ(*logger, &log);
  EXPECT_EQ(*aq, queue);

  const std::string copy = testing::TempDir() + "second-module-" + std::to_string(getpid());
  std::filesystem::copy_file(Plugin::File(), copy);
  const Plugin second(copy);
  std::filesystem::remove(copy);
  ProtocolPtr(second.NewProtocol())->Rename("a", "b", nullptr, nullptr);
  EXPECT_TRUE(log.Take().empty());  // modules keep apart
  drive->Rename("a", "b", nullptr, nullptr);
  EXPECT_EQ(log.Take().size(), 1U);

  plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
  plugin.Get<module_api::UnbindAsyncQ>("UnbindAsyncQ")();
  EXPECT_EQ(*logger, nullptr);
  EXPECT_EQ(*aq, nullptr);
}

TEST_F(ModuleTest, DescribesItselfAndItsForms) {
  EXPECT_EQ(Form("GetAuthFields"),
            R"({"account":{"controls":{"account_id":{"label":"Account ID","type":"edit"},)"
            R"("application_key":{"label":"Application Key","type":"password"}},)"
            R"("order":["account_id","application_key"],"text":"Account","type":"group"}})");
  EXPECT_EQ(Form("GetOptFields"),
            R"({"bandwidth_options":{"controls":{"speedlimit":{"default":"0",)"
            R"F("label":"limit ( KB/s : 0 means unlimited )","type":"edit",)F"
            R"("validator":{"min_value":0,"type":"integer"}}},"order":["speedlimit"],)"
            R"("text":"Bandwidth","type":"group"},"options":{"controls":{"enable_delete_folder":)"
            R"({"default":false,"text":"Enable delete folder","type":"checkbox"}},)"
            R"("order":["enable_delete_folder"],"text":"Options","type":"group"},)"
            R"("order":["options","bandwidth_options"]})");
  EXPECT_EQ(plugin.Get<module_api::GetSupports>("GetSupports")(), 3);
  EXPECT_STREQ(plugin.Get<module_api::GetProtocolVersion>("GetProtocolVersion")(), "1.0.0");
  EXPECT_EQ(plugin.Get<module_api::GetAuthType>("GetAuthType")(), 4);
  plugin.Get<module_api::OnLoad>(module_api::kOnLoadSymbol)();
  char* name = nullptr;
  plugin.Get<module_api::GetSupportProtocol>("GetSupportProtocol")(&name);
  EXPECT_STREQ(name, "backblazeb2");
  const auto free_p = plugin.Get<module_api::FreeP>("FreeP");
  free_p(name);
  free_p(nullptr);

  Manager manager;
  plugin.NewProtocol(&manager)->Release();
  EXPECT_EQ(manager.asked, "Tervanix3_backblazeb2.dll_3.6.344.0 256");
  manager.throws = true;
  void* untouched = &manager;
  EXPECT_FALSE(plugin.Get<module_api::GetProtocol>("GetProtocol")("id", &manager, &untouched));
  EXPECT_EQ(untouched, &manager);
}

TEST_F(ModuleTest, OutBuffersKeepTheirRules) {
  char buffer[64];
  using Get = AERROR (IProtocol_V2::*)(char*, int*);
  constexpr Get kUser = &IProtocol_V2::GetUserInfo, kRoot = &IProtocol_V2::GetRootID;
  const std::tuple<Get, int, AERROR, int, const char*> rows[] = {
      {kUser, 12, INSUFFICIENT_BUFFER, 13, "kept"},
      {kUser, 13, SUCCESS, 12, "Backblaze B2"},
      {kRoot, -1, INSUFFICIENT_BUFFER, 0, "kept"},
      {kRoot, 0, SUCCESS, 0, ""}};
  for (const auto& [get, room, result, reported, text] : rows) {
    std::strcpy(buffer, "kept");
    int size = room;
    EXPECT_EQ((drive.get()->*get)(buffer, &size), result);
    EXPECT_EQ(size, reported);
    EXPECT_STREQ(buffer, text);
  }
  int size = sizeof buffer;
  EXPECT_EQ(drive->GetUserInfo(nullptr, &size), INVALID_PARAMETER);
  EXPECT_EQ(drive->GetUserInfo(buffer, nullptr), INVALID_PARAMETER);
  EXPECT_EQ(drive->GetRootID(buffer, nullptr), ACCESS_DENIED);
  EXPECT_EQ(drive->GetCredential(nullptr, &size), AUTH_FAILED);
  EXPECT_EQ(drive->GetCredential(buffer, &size), FS_NEED_AUTHORIZE);
}

TEST_F(ModuleTest, RefusesWhatTheServiceLacks) {
  unsigned long long used = 1;
  EXPECT_EQ(drive->GetQuota(nullptr, &used), SUCCESS);
  EXPECT_EQ(used, 0U);
  char* type = nullptr;
  EXPECT_EQ(drive->GetType(&type), SUCCESS);
  EXPECT_STREQ(type, "backblazeb2");
  EXPECT_THAT((std::vector{drive->SetQuota(1, 1), drive->Move("a", "b", nullptr, nullptr),
                           drive->SetFileTime("", "", "", "", nullptr, nullptr),
                           drive->Rename(nullptr, nullptr, nullptr, nullptr),
                           drive->MoveDir("a", "b", nullptr, nullptr)}),
              testing::Each(NOT_SUPPORTED));
  EXPECT_THAT((std::vector{drive->GetChanges(nullptr, nullptr), drive->SetChangesCallback(nullptr),
                           drive->GetIdentifier(nullptr, nullptr)}),
              testing::Each(SUCCESS));
  drive->FreeMsg(nullptr);
  drive->FreeMsg(strdup("message"));
}

TEST_F(ModuleTest, SlotsStandInTheirOrder) {
  void* const object = drive.release();
  const char* text = "no form";
  char** const no_message = nullptr;
  void* const null = nullptr;
  unsigned long long total = 0;
  EXPECT_EQ(Call(object, 2, &total, null), SUCCESS);  // GetQuota
  EXPECT_EQ(total, 10995116277760ULL);
  EXPECT_EQ(Call(object, 8, text, text, null, no_message), NOT_SUPPORTED);  // Rename
  std::shared_ptr<_FS_HANDLE> handle;  // passed by invisible reference
  EXPECT_EQ(
      Call(object, 14, static_cast<const char*>(nullptr), 0LL, 1LL, &handle, null, no_message),
      FILE_READ_FAILED);
  EXPECT_EQ(static_cast<int>(Call(object, 19)), 320);
  EXPECT_EQ(Call(object, 22, null, text), AUTH_FAILED);  // Connect
  int size = -1;
  EXPECT_EQ(Call(object, 24, null, &size), INSUFFICIENT_BUFFER);  // GetRootID
  (**static_cast<void (***)(void*)>(object))(nullptr);            // Release, of nothing
  Call(object, 0);
}

}  // namespace
