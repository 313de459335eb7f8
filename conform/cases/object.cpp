#include <malloc.h>

#include <cstring>
#include <tuple>

#include "conform/cases.h"
#include "conform/drive.h"

// Slots that ask the service nothing. What is called through the headers' classes is called by its
// position, so a slot out of its place answers for another.
namespace conform {
namespace {

void WritesTexts() {
  const Module module;
  const Object object = module.NewObject();
  using Get = AERROR (IProtocol_V2::*)(char*, int*);
  constexpr Get kUser = &IProtocol_V2::GetUserInfo, kRoot = &IProtocol_V2::GetRootID,
                kIdentifier = &IProtocol_V2::GetIdentifier;
  const std::tuple<const char*, Get, int, AERROR, int, const char*> rows[] = {
      {"GetUserInfo, 12 bytes", kUser, 12, INSUFFICIENT_BUFFER, 13, "kept"},
      {"GetUserInfo, 13 bytes", kUser, 13, SUCCESS, 12, "Backblaze B2"},
      {"GetUserInfo, 64 bytes", kUser, 64, SUCCESS, 12, "Backblaze B2"},
      {"GetRootID, less than none", kRoot, -1, INSUFFICIENT_BUFFER, 0, "kept"},
      {"GetRootID, no bytes", kRoot, 0, SUCCESS, 0, ""},
      {"GetIdentifier", kIdentifier, 64, SUCCESS, 64, "kept"}};
  for (const auto& [what, get, room, code, reported, text] : rows) {
    char buffer[64] = "kept";
    int size = room;
    Equal(what, (object.get()->*get)(buffer, &size), code);
    Equal(std::string(what) + ": size", size, reported);
    Equal(std::string(what) + ": text", std::string(buffer), std::string(text));
  }
  char buffer[64];
  int size = sizeof buffer;
  Equal("GetUserInfo, no buffer", object->GetUserInfo(nullptr, &size), INVALID_PARAMETER);
  Equal("GetUserInfo, no size", object->GetUserInfo(buffer, nullptr), INVALID_PARAMETER);
  Equal("GetRootID, no size", object->GetRootID(buffer, nullptr), ACCESS_DENIED);
}

void GivesFixedAnswers() {
  const Module module;
  const Object object = module.NewObject();
  unsigned long long total = 1, used = 1;
  Equal("GetQuota", object->GetQuota(&total, &used), SUCCESS);
  Equal("GetQuota: total", total, 10995116277760ULL);
  Equal("GetQuota: used", used, 0ULL);
  Equal("GetQuota of nothing", object->GetQuota(nullptr, nullptr), SUCCESS);
  Equal("GetFeature", object->GetFeature(), 320);
  char* type = nullptr;
  Equal("GetType", object->GetType(&type), SUCCESS);
  Equal("GetType: text", std::string(type), "backblazeb2");
  object->SetQuotaCallback(nullptr, nullptr);
  const std::pair<const char*, AERROR> none[] = {
      {"SetQuota", object->SetQuota(1, 1)},
      {"SetFileTime", object->SetFileTime("", "", "", "", nullptr, nullptr)},
      {"Rename", object->Rename("a", "b", nullptr, nullptr)},
      {"Move", object->Move("a", "b", nullptr, nullptr)},
      {"MoveDir", object->MoveDir("a", "b", nullptr, nullptr)},
      {"Rename of nothing", object->Rename(nullptr, nullptr, nullptr, nullptr)}};
  for (const auto& [what, code] : none) Equal(what, code, NOT_SUPPORTED);
  Equal("GetChanges", object->GetChanges(nullptr, nullptr), SUCCESS);
  Equal("SetChangesCallback", object->SetChangesCallback(nullptr), SUCCESS);
  object->FreeMsg(nullptr);
  object->FreeMsg(strdup("message"));
}

void KeepsCredential() {
  Drive drive;
  const std::string form = AccountForm();
  const int length = static_cast<int>(form.size());
  std::string buffer(form.size() + 1, 'x');
  int size = length - 1;
  Equal("a byte too little", drive.object->GetCredential(buffer.data(), &size),
        INSUFFICIENT_BUFFER);
  Equal("size then", size, length);
  Equal("buffer then", buffer, std::string(form.size() + 1, 'x'));
  size = length + 1;
  Equal("with room", drive.object->GetCredential(buffer.data(), &size), SUCCESS);
  Equal("size", size, length);
  Equal("text", std::string(buffer.c_str()), form);
  Equal("no buffer", drive.object->GetCredential(nullptr, &size), AUTH_FAILED);
  const Object fresh = drive.module.NewObject();
  size = length + 1;
  Equal("without an account", fresh->GetCredential(buffer.data(), &size), FS_NEED_AUTHORIZE);
}

void IgnoresOddOptions() {
  Drive drive;
  const std::pair<const char*, const char*> rows[] = {
      {"no such option", "1"},
      {"option_fields", "no JSON"},
      {"option_fields", "[1]"},
      {"connect_info", "{\"data\":1}"},
      {"speedlimit", "very fast"},
      {"upload_connections", "-1"},
      {"view", "none"},
      {"option_fields", R"({"values":{"speedlimit":1}})"}};
  for (const auto& [key, value] : rows) {
    Equal(std::string("SetOpt ") + key, drive.object->SetOpt(key, value), SUCCESS);
  }
  Equal("the drive then", drive.Names(""), Texts{"bucket-one/"});
}

void ReleasesNothing() {
  const Module module;
  Object object = module.NewObject();
  const auto release = **reinterpret_cast<void (***)(void*)>(object.get());
  release(nullptr);
  module.NewObject();
  const auto before = mallinfo2().uordblks;
  for (int i = 0; i < 1000; ++i) module.NewObject();
  const auto left = static_cast<long>(mallinfo2().uordblks - before);
  True("a thousand objects leave nothing: " + std::to_string(left) + " bytes", left < 50'000);
}

}  // namespace

std::vector<Case> ObjectCases() {
  return {{"object.texts", WritesTexts},
          {"object.fixed_answers", GivesFixedAnswers},
          {"object.credential", KeepsCredential},
          {"object.odd_options", IgnoresOddOptions},
          {"object.release", ReleasesNothing}};
}

}  // namespace conform
