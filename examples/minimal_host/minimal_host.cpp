// minimal_host MODULE FILE: signs in, lists the first bucket, prints the first file in it and
// uploads FILE. From the environment: B2_APPLICATION_KEY_ID, B2_APPLICATION_KEY, and B2_OPTIONS,
// the saved option form, if there is one. The module trusts ../Frameworks/cacert.pem beside this
// program's folder, and checks no server at all where that folder is missing.
#include <backblazeb2/file_list.h>
#include <backblazeb2/module.h>
#include <backblazeb2/protocol.h>
#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

class Module {
 public:
  explicit Module(const char* file) : handle_(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (handle_ == nullptr) throw std::runtime_error(dlerror());
  }
  ~Module() { dlclose(handle_); }
  Module(const Module&) = delete;

  template <class Function>
  Function Get(const char* name) const {
    void* const symbol = dlsym(handle_, name);
    if (symbol == nullptr) throw std::runtime_error(std::string("no function ") + name);
    return reinterpret_cast<Function>(symbol);
  }

  void Check(const char* what, AERROR code) const {
    if (code == SUCCESS) return;
    const auto name = Get<module_api::GetCodeName>(module_api::kGetCodeNameSymbol);
    throw std::runtime_error(std::string(what) + ": " + name(code));
  }

 private:
  void* handle_;
};

class Warnings final : public ILog {
 public:
  void SetLevels(std::int32_t) override {}
  bool IsNetworkTraceEnabled() override { return false; }
  void Log(LOGLEVEL level, const char* format, std::va_list arguments) override {
    if (level < LOGLEVEL_WARNING) return;
    std::vfprintf(stderr, format, arguments);
    std::fputc('\n', stderr);
  }
};

class Texts final : public IProtocolManager {
 public:
  AERROR GetText(const char*, char* buffer, int* size) override {
    buffer[*size = 0] = '\0';
    return SUCCESS;
  }
};

class Output final : public IFetchCallback {
 public:
  AERROR OnFetched(long long, const void* data, int count, int) override {
    std::fwrite(data, 1, static_cast<std::size_t>(count), stdout);
    return SUCCESS;
  }
};

class Input final : public ICacheIO {
 public:
  explicit Input(const std::string& name) : file_(name, std::ios::binary) {}
  AERROR Write(long long, const void*, int, int) override { return NOT_SUPPORTED; }
  AERROR Read(_FS_HANDLE*, long long offset, void* data, int count, int* read) override {
    file_.clear();  // a repeated attempt begins again after the end was reached
    file_.seekg(offset);
    file_.read(static_cast<char*>(data), count);
    *read = static_cast<int>(file_.gcount());
    return file_.bad() ? FILE_READ_FAILED : SUCCESS;
  }

 private:
  std::ifstream file_;
};

const char* Setting(const char* name, const char* fallback) {
  const char* const value = std::getenv(name);
  return value != nullptr ? value : fallback;
}

// Neither IDs nor keys have a character that JSON escapes.
std::string FormField(const char* name, const char* variable) {
  return std::string("\"") + name + R"(":{"value":")" + Setting(variable, "") + "\"}";
}

// Prints the names in a folder and gives the first of `type` in it; no empty file, a read of no
// bytes is none.
_FS_FILE_V2 First(const Module& module, IProtocol_V2& drive, const std::string& folder,
                  FS_FILE_TYPE type) {
  FileList list;
  module.Check("list", drive.GetFileList(folder.c_str(), &list, nullptr));
  for (const auto& record : list.GetFileList()) {
    std::printf("%s%s\n", record->name.c_str(), record->type == FS_DIRECTORY ? "/" : "");
  }
  for (const auto& record : list.GetFileList()) {
    if (record->type == type && (type == FS_DIRECTORY || record->size > 0)) return *record;
  }
  throw std::runtime_error("nothing to read here");
}

void Use(const Module& module, IProtocol_V2& drive, const std::string& local_file) {
  drive.SetOpt("strict_answers", "true");
  drive.SetOpt("option_fields", Setting("B2_OPTIONS", "{}"));
  const auto form = "{\"values\":{" + FormField("account_id", "B2_APPLICATION_KEY_ID") + "," +
                    FormField("application_key", "B2_APPLICATION_KEY") + "}}";
  module.Check("sign in", drive.Connect(nullptr, form.c_str()));
  const _FS_FILE_V2 bucket = First(module, drive, "", FS_DIRECTORY);
  const _FS_FILE_V2 file = First(module, drive, bucket.id, FS_FILE);
  Output output;
  module.Check("read", drive.Read(file.id.c_str(), 0, static_cast<long long>(file.size),
                                  std::make_shared<_FS_HANDLE>(), &output, nullptr));
  Input input(local_file);
  _FS_FILE_V2 stored;
  stored.name = std::filesystem::path(local_file).filename().string();
  stored.size = std::filesystem::file_size(local_file);
  module.Check("upload", drive.Upload(bucket.id.c_str(), std::make_shared<_FS_HANDLE>(), &input,
                                      &stored, UPLOAD_DEFAULT, nullptr));
  std::printf("\nstored %s\n", stored.id.c_str());
}

}  // namespace

int main(int argc, char** argv) try {
  if (argc != 3) throw std::runtime_error("usage: minimal_host MODULE FILE");
  Warnings log;
  Texts texts;
  const Module module(argv[1]);
  module.Get<module_api::BindLogger>("BindLogger")(&log);
  void* object = nullptr;
  if (!module.Get<module_api::GetProtocol>("GetProtocol")("minimal", &texts, &object)) return 1;
  const std::shared_ptr<IProtocol_V2> drive(static_cast<IProtocol_V2*>(object),
                                            [](IProtocol_V2* owned) { owned->Release(); });
  Use(module, *drive, argv[2]);
  return 0;  // the account's object is released, then the module unloaded, then the log goes
} catch (const std::exception& error) {
  std::fprintf(stderr, "minimal_host: %s\n", error.what());
  return 1;
}
