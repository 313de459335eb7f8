#pragma once

#include <json/value.h>

#include <string>
#include <vector>

#include "protocol/aerror.h"

// A handle on one JSON value. An owning handle holds its document; a referring handle, as the
// subscripts and GetObject return it, points into another handle's document and costs no more than
// a pointer: writing through it changes that document. A referring handle is valid while the owning
// handle lives and the value is not removed. Not thread-safe.
//
// Errors: a text that does not parse throws AERROR::JSON_PARSE_FAILED, a path that leads nowhere
// AERROR::ACCESS_VIOLATION. A value of the wrong type makes jsoncpp throw a Json::Exception, which
// is passed on.
class JsonObject {
 public:
  // Parses exactly `length` bytes of `text`, which is not needed afterwards. Text after the first
  // complete value is ignored.
  explicit JsonObject(const char* text, unsigned int length);
  // The same for a zero-terminated text, whose comments are kept for ToStyledText. A null `text`
  // makes an owning handle on a null value.
  explicit JsonObject(const char* text);
  // Refers to `value`, which must outlive the handle.
  explicit JsonObject(Json::Value& value);
  // Copies the document of an owning handle. The copy of any other handle, one that owns a null
  // value included, refers to the value that `other` stands on.
  JsonObject(const JsonObject& other);
  virtual ~JsonObject();

  // An owning handle on {}.
  static JsonObject GetEmptyObject();

  // Typed copies of the value. Assigning to an existing std::string needs a static_cast, because
  // several of these conversions fit its assignment.
  operator std::string() const;   // Ends before the first zero byte.
  operator std::wstring() const;  // From UTF-8.
  operator unsigned long long() const;
  operator long long() const;
  operator long() const;
  operator int() const;  // The low 32 bits of the 64-bit number.
  operator AERROR() const;
  operator double() const;
  operator bool() const;

  // A referring handle on a member or an element; a missing one is created as null.
  JsonObject operator[](const char* key);
  JsonObject operator[](int index);
  // Deleted, because a constant handle would otherwise convert to a number and index the text.
  JsonObject operator[](const char* key) const = delete;
  JsonObject operator[](int index) const = delete;

  // A referring handle on the value that the member names in `path`, separated by "/", lead to.
  // Empty names are skipped, so an empty path means this value itself.
  JsonObject GetObject(const char* path) const;
  // Whether GetObject would find a value; a value on the way that has no members only means no.
  bool HasObject(const char* path) const;

  // Set a member to a deep copy of the value or to a text. Return true.
  bool Insert(const char* key, const JsonObject& value);
  bool Insert(const char* key, const std::wstring& value);
  // Append a copy; a null value becomes an array first. Return true.
  bool InsertArrayItem(std::string value);
  bool InsertArrayItem(const JsonObject& value);
  // Return whether there was such an element or member.
  bool RemoveArrayItem(unsigned long index);
  bool Remove(const char* key);

  // Replace the value this handle stands on, and with it that part of the document it belongs to.
  // Assigning an owning handle is the exception: it detaches this handle, which then owns a copy.
  JsonObject& operator=(std::string value);
  JsonObject& operator=(const JsonObject& other);

  std::vector<std::string> GetKeys() const;  // In jsoncpp's order.
  int GetArraySize() const;                  // Elements or members.
  bool IsValid() const;                      // Not null.
  bool IsArray() const;
  // A second handle on the same value; nothing is copied.
  JsonObject Copy() const;

  std::string ToText() const;        // On one line, without a newline at its end.
  std::string ToStyledText() const;  // Indented.

 private:
  JsonObject();
  void Parse(const char* begin, const char* end, bool keep_comments);
  Json::Value* Find(const char* path) const;

  Json::Value own_;  // Null in a referring handle; otherwise current_ points here.
  Json::Value* current_;
};
