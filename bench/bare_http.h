#pragma once

#include <curl/curl.h>
#include <stddef.h>

// The least that a client of the service can be: one easy handle with its connections, no more than
// the options that a request needs. Any failure ends the program with a message.

enum { kShortText = 512 };

struct Answer {
  char* text;  // zero-terminated
  size_t length;
  size_t room;
};

struct Session {
  CURL* easy;
  char api_url[kShortText];
  char token[kShortText];
  char account_id[kShortText];
  struct Answer answer;  // of the latest JSON call or upload
};

// Where the bytes of an upload come from: a mapped file, again and again.
struct Source {
  const char* bytes;
  size_t length;
  curl_off_t offset;  // of the next byte to send
  curl_off_t end;     // behind the last one
};

void Fail(const char* what);

// Reads the proxy's port, the CA file and the account from the environment (see `compare`), makes
// the easy handle and authorizes.
void OpenSession(struct Session* session);
// A second handle for another thread, with the authorization of `first`.
void JoinSession(struct Session* session, const struct Session* first);
void CloseSession(struct Session* session);

// POSTs `body` to a call of the API; the answer stays in the session.
void CallApi(struct Session* session, const char* call, const char* body);
// GETs a range of a file and drops its bytes; `end` is inclusive.
void FetchRange(struct Session* session, const char* file_id, curl_off_t begin, curl_off_t end);
// POSTs what is left of `source` to an upload URL with these header lines.
void PostFile(struct Session* session, const char* url, struct curl_slist* headers,
              struct Source* source);

// Copies the text member `key` of the answer into `out` of kShortText bytes; empty when it is null
// or not there. The last one of that name counts.
void CopyMember(const struct Answer* answer, const char* key, char* out);
