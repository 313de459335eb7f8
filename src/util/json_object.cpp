#include "util/json_object.h"

#include <json/reader.h>
#include <json/writer.h>

#include <cstdint>
#include <cstring>
#include <utility>

#include "util/strings.h"

// Releases of jsoncpp differ in whether they mark Reader and the writers as deprecated. Their
// replacements write other texts (spacing, number format), and peers compare texts.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
namespace {

bool ReadDocument(const char* begin, const char* end, Json::Value& value, bool keep_comments) {
  return Json::Reader().parse(begin, end, value, keep_comments);
}

std::string CompactText(const Json::Value& value) { return Json::FastWriter().write(value); }

std::string StyledText(const Json::Value& value) { return Json::StyledWriter().write(value); }

}  // namespace
#pragma GCC diagnostic pop

JsonObject::JsonObject() : current_(&own_) {}

JsonObject::JsonObject(const char* text, unsigned int length) : JsonObject() {
  Parse(text, text + length, false);
}

JsonObject::JsonObject(const char* text) : JsonObject() {
  if (text != nullptr) Parse(text, text + std::strlen(text), true);
}

JsonObject::JsonObject(Json::Value& value) : current_(&value) {}

JsonObject::JsonObject(const JsonObject& other)
    : own_(other.own_), current_(own_.isNull() ? other.current_ : &own_) {}

JsonObject::~JsonObject() = default;

JsonObject JsonObject::GetEmptyObject() {
  JsonObject object;
  object.own_ = Json::Value(Json::objectValue);
  return object;
}

void JsonObject::Parse(const char* begin, const char* end, bool keep_comments) {
  bool parsed = false;
  try {
    parsed = ReadDocument(begin, end, own_, keep_comments);
  } catch (const Json::Exception&) {
    // Nesting beyond the reader's limit is thrown, unlike its other errors.
  }
  if (!parsed) throw AERROR::JSON_PARSE_FAILED;
}

JsonObject::operator std::string() const {
  std::string text = current_->asString();
  const std::size_t zero = text.find('\0');
  if (zero != std::string::npos) text.resize(zero);
  return text;
}

JsonObject::operator std::wstring() const { return s2ws(current_->asString()); }

JsonObject::operator unsigned long long() const { return current_->asUInt64(); }

JsonObject::operator long long() const { return current_->asInt64(); }

JsonObject::operator long() const { return current_->asInt64(); }

JsonObject::operator int() const { return static_cast<std::int32_t>(current_->asInt64()); }

JsonObject::operator AERROR() const { return static_cast<AERROR>(static_cast<int>(*this)); }

JsonObject::operator double() const { return current_->asDouble(); }

JsonObject::operator bool() const { return current_->asBool(); }

JsonObject JsonObject::operator[](const char* key) { return JsonObject((*current_)[key]); }

JsonObject JsonObject::operator[](int index) { return JsonObject((*current_)[index]); }

Json::Value* JsonObject::Find(const char* path) const {
  Json::Value* value = current_;
  for (const char* name = path + std::strspn(path, "/"); *name != '\0';) {
    const char* end = name + std::strcspn(name, "/");
    if (!value->isObject()) return nullptr;
    // jsoncpp finds for reading only, and its other look-up creates what is missing.
    value = const_cast<Json::Value*>(value->find(name, end));
    if (value == nullptr) return nullptr;
    name = end + std::strspn(end, "/");
  }
  return value;
}

JsonObject JsonObject::GetObject(const char* path) const {
  Json::Value* value = Find(path);
  if (value == nullptr) throw AERROR::ACCESS_VIOLATION;
  return JsonObject(*value);
}

bool JsonObject::HasObject(const char* path) const { return Find(path) != nullptr; }

bool JsonObject::Insert(const char* key, const JsonObject& value) {
  // Copied first, because `value` may stand on this value itself.
  Json::Value copy = *value.current_;
  (*current_)[key] = std::move(copy);
  return true;
}

bool JsonObject::Insert(const char* key, const std::wstring& value) {
  (*current_)[key] = ws2s(value);
  return true;
}

bool JsonObject::InsertArrayItem(std::string value) {
  current_->append(value);
  return true;
}

bool JsonObject::InsertArrayItem(const JsonObject& value) {
  current_->append(*value.current_);
  return true;
}

bool JsonObject::RemoveArrayItem(unsigned long index) {
  if (!current_->isArray() || index >= current_->size()) return false;
  Json::Value removed;
  return current_->removeIndex(static_cast<Json::ArrayIndex>(index), &removed);
}

bool JsonObject::Remove(const char* key) {
  Json::Value removed;
  return current_->removeMember(key, &removed);
}

JsonObject& JsonObject::operator=(std::string value) {
  *current_ = value;
  return *this;
}

JsonObject& JsonObject::operator=(const JsonObject& other) {
  if (this == &other) return *this;
  if (other.own_.isNull()) {
    *current_ = *other.current_;
  } else {
    own_ = other.own_;
    current_ = &own_;
  }
  return *this;
}

std::vector<std::string> JsonObject::GetKeys() const { return current_->getMemberNames(); }

int JsonObject::GetArraySize() const { return static_cast<int>(current_->size()); }

bool JsonObject::IsValid() const { return !current_->isNull(); }

bool JsonObject::IsArray() const { return current_->isArray(); }

JsonObject JsonObject::Copy() const { return JsonObject(*current_); }

std::string JsonObject::ToText() const {
  std::string text = CompactText(*current_);
  return trim(text);
}

std::string JsonObject::ToStyledText() const { return StyledText(*current_); }
