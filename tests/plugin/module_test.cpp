#include <unistd.h>

#include <cstring>
#include <filesystem>

#include "tests/support/drive_test.h"

namespace {

class Manager final : public IProtocolManager {
 public:
  AERROR GetText(const char* key, char* buffer, int* size) override {
    if (throws) throw AERROR::FAILED;
    asked = std::string(key) + " " + std::to_string(*size);
    *buffer = '\0';
    return AERROR::SUCCESS;
  }

  std::string asked;
  bool throws = false;
};

class ModuleTest : public testing::Test {
 protected:
  std::string Form(const char* symbol) const {
    const auto get = plugin.Get<module_api::GetAuthFields>(symbol);
    int size = 0;
    EXPECT_EQ(get(nullptr, &size), AERROR::INSUFFICIENT_BUFFER);
    std::string text(static_cast<std::size_t>(size) + 1, 'x');
    int exact = size;
    EXPECT_EQ(get(text.data(), &exact), AERROR::SUCCESS);
    EXPECT_EQ(exact, size);
    EXPECT_EQ(std::strlen(text.c_str()), static_cast<std::size_t>(size));
    return text.c_str();
  }

  Plugin plugin;
  ProtocolPtr drive{plugin.NewProtocol()};
};

using Slot = void (*)();

}  // namespace

TEST_F(ModuleTest, BindingReplacesButNeverByNull) {
  RecordingLog log;
  int queue = 0;
  const auto bind_log = plugin.Get<module_api::BindLogger>("BindLogger");
  const auto bind_queue = plugin.Get<module_api::BindAsyncQ>("BindAsyncQ");
  auto** const logger = static_cast<ILog**>(plugin.Symbol("logger"));
  auto** const aq = static_cast<void**>(plugin.Symbol("aq"));
  EXPECT_TRUE(bind_log(&log));
  EXPECT_FALSE(bind_log(nullptr));
  EXPECT_EQ(*logger, &log);
  EXPECT_TRUE(bind_queue(reinterpret_cast<IAsyncQ*>(&queue)));
  EXPECT_FALSE(bind_queue(nullptr));
  EXPECT_EQ(*aq, &queue);
  plugin.Get<module_api::UnbindLogger>("UnbindLogger")();
  plugin.Get<module_api::UnbindAsyncQ>("UnbindAsyncQ")();
  EXPECT_EQ(*logger, nullptr);
  EXPECT_EQ(*aq, nullptr);
}

TEST_F(ModuleTest, DescribesItsForms) {
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
}

TEST_F(ModuleTest, ConstructionAsksTheManagerAndFailsWithIt) {
  Manager manager;
  plugin.NewProtocol(&manager)->Release();
  EXPECT_EQ(manager.asked, "Tervanix3_backblazeb2.dll_3.6.344.0 256");
  manager.throws = true;
  void* untouched = &manager;
  const auto make = plugin.Get<module_api::GetProtocol>("GetProtocol");
  EXPECT_FALSE(make("id", &manager, &untouched));
  EXPECT_EQ(untouched, &manager);
}

TEST_F(ModuleTest, OutBuffersKeepTheirRules) {
  char buffer[64];
  struct Row {
    AERROR (IProtocol_V2::*get)(char*, int*);
    int size;
    AERROR result;
    int reported;
    const char* text;
  };
  for (const Row& row :
       {Row{&IProtocol_V2::GetUserInfo, 12, AERROR::INSUFFICIENT_BUFFER, 13, "kept"},
        {&IProtocol_V2::GetUserInfo, 13, AERROR::SUCCESS, 12, "Backblaze B2"},
        {&IProtocol_V2::GetRootID, -1, AERROR::INSUFFICIENT_BUFFER, 0, "kept"},
        {&IProtocol_V2::GetRootID, 0, AERROR::SUCCESS, 0, ""}}) {
    std::strcpy(buffer, "kept");
    int size = row.size;
    EXPECT_EQ((drive.get()->*row.get)(buffer, &size), row.result);
    EXPECT_EQ(size, row.reported);
    EXPECT_STREQ(buffer, row.text);
  }
  int size = sizeof buffer;
  EXPECT_EQ(drive->GetUserInfo(nullptr, &size), AERROR::INVALID_PARAMETER);
  EXPECT_EQ(drive->GetUserInfo(buffer, nullptr), AERROR::INVALID_PARAMETER);
  EXPECT_EQ(drive->GetRootID(buffer, nullptr), AERROR::ACCESS_DENIED);
  EXPECT_EQ(drive->GetCredential(nullptr, &size), AERROR::AUTH_FAILED);
  EXPECT_EQ(drive->GetCredential(buffer, &size), AERROR::FS_NEED_AUTHORIZE);
}

TEST_F(ModuleTest, AnswersTheHostsQuestionsAndRefusesWhatTheServiceLacks) {
  EXPECT_EQ(plugin.Get<module_api::GetSupports>("GetSupports")(), 3);
  EXPECT_STREQ(plugin.Get<module_api::GetProtocolVersion>("GetProtocolVersion")(), "1.0.0");
  EXPECT_EQ(plugin.Get<module_api::GetAuthType>("GetAuthType")(), 4);
  plugin.Get<module_api::OnLoad>(module_api::kOnLoadSymbol)();
  char* name = nullptr;
  const auto get_name = plugin.Get<module_api::GetSupportProtocol>("GetSupportProtocol");
  EXPECT_STREQ(get_name(&name), "backblazeb2");
  const auto free_p = plugin.Get<module_api::FreeP>("FreeP");
  free_p(name);
  free_p(nullptr);

  unsigned long long used = 1;
  EXPECT_EQ(drive->GetQuota(nullptr, &used), AERROR::SUCCESS);
  EXPECT_EQ(used, 0U);
  EXPECT_EQ(drive->GetType(&name), AERROR::SUCCESS);
  EXPECT_STREQ(name, "backblazeb2");
  EXPECT_EQ(drive->SetQuota(1, 1), AERROR::NOT_SUPPORTED);
  EXPECT_EQ(drive->SetFileTime("", "", "", "", nullptr, nullptr), AERROR::NOT_SUPPORTED);
  EXPECT_EQ(drive->Rename(nullptr, nullptr, nullptr, nullptr), AERROR::NOT_SUPPORTED);
  EXPECT_EQ(drive->Move("a", "b", nullptr, nullptr), AERROR::NOT_SUPPORTED);
  EXPECT_EQ(drive->MoveDir("a", "b", nullptr, nullptr), AERROR::NOT_SUPPORTED);
  EXPECT_EQ(drive->GetChanges(nullptr, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(drive->SetChangesCallback(nullptr), AERROR::SUCCESS);
  EXPECT_EQ(drive->GetIdentifier(nullptr, nullptr), AERROR::SUCCESS);
  drive->FreeMsg(nullptr);
  drive->FreeMsg(strdup("message"));
}

TEST_F(ModuleTest, SeveralModulesKeepApart) {
  const std::string copy = testing::TempDir() + "second-module-" + std::to_string(getpid());
  std::filesystem::copy_file(Plugin::File(), copy);
  const Plugin second(copy);
  std::filesystem::remove(copy);
  RecordingLog log;
  second.Get<module_api::BindLogger>("BindLogger")(&log);
  drive->Rename("a", "b", nullptr, nullptr);
  EXPECT_TRUE(log.Take().empty());
  ProtocolPtr(second.NewProtocol())->Rename("a", "b", nullptr, nullptr);
  EXPECT_EQ(log.Take().size(), 1U);
  second.Get<module_api::UnbindLogger>("UnbindLogger")();
}

// A host built by another compiler reaches the operations by position alone.
TEST_F(ModuleTest, SlotsStandInTheirOrder) {
  IProtocol_V2* object = drive.release();
  Slot* slots = *reinterpret_cast<Slot**>(object);
  unsigned long long total = 0;
  const auto get_quota = reinterpret_cast<AERROR (*)(void*, unsigned long long*, void*)>(slots[2]);
  EXPECT_EQ(get_quota(object, &total, nullptr), AERROR::SUCCESS);
  EXPECT_EQ(total, 10995116277760ULL);
  const auto rename =
      reinterpret_cast<AERROR (*)(void*, const char*, const char*, void*, char**)>(slots[8]);
  EXPECT_EQ(rename(object, "a", "b", nullptr, nullptr), AERROR::NOT_SUPPORTED);
  const auto read =
      reinterpret_cast<AERROR (*)(void*, const char*, long long, long long,
                                  std::shared_ptr<_FS_HANDLE>*, void*, char**)>(slots[14]);
  std::shared_ptr<_FS_HANDLE> handle;  // passed by invisible reference
  EXPECT_EQ(read(object, nullptr, 0, 1, &handle, nullptr, nullptr), AERROR::FILE_READ_FAILED);
  EXPECT_EQ(reinterpret_cast<int (*)(void*)>(slots[19])(object), 320);
  const auto connect = reinterpret_cast<AERROR (*)(void*, void*, const char*)>(slots[22]);
  EXPECT_EQ(connect(object, nullptr, "no form"), AERROR::AUTH_FAILED);
  int size = -1;
  const auto get_root = reinterpret_cast<AERROR (*)(void*, char*, int*)>(slots[24]);
  EXPECT_EQ(get_root(object, nullptr, &size), AERROR::INSUFFICIENT_BUFFER);
  const auto release = reinterpret_cast<void (*)(void*)>(slots[0]);
  release(nullptr);
  release(object);
}
