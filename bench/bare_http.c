#include "bench/bare_http.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>

void Fail(const char* what) {
  fprintf(stderr, "bare_curl: %s\n", what);
  exit(1);
}

static const char* Setting(const char* name) {
  const char* value = getenv(name);
  if (value == NULL) Fail(name);
  return value;
}

static size_t Drop(char* data, size_t size, size_t count, void* context) {
  (void)data;
  (void)context;
  return size * count;
}

static size_t Keep(char* data, size_t size, size_t count, void* context) {
  struct Answer* answer = context;
  const size_t added = size * count;
  if (answer->length + added + 1 > answer->room) {
    answer->room = 2 * (answer->length + added + 1);
    answer->text = realloc(answer->text, answer->room);
    if (answer->text == NULL) return 0;
  }
  memcpy(answer->text + answer->length, data, added);
  answer->length += added;
  answer->text[answer->length] = '\0';
  return added;
}

static size_t ReadSource(char* data, size_t size, size_t count, void* context) {
  struct Source* source = context;
  const size_t at = (size_t)source->offset % source->length;
  size_t length = source->length - at;
  if (length > size * count) length = size * count;
  const curl_off_t left = source->end - source->offset;
  if ((curl_off_t)length > left) length = (size_t)left;
  memcpy(data, source->bytes + at, length);
  source->offset += (curl_off_t)length;
  return length;
}

static void Perform(struct Session* session, const char* url, struct curl_slist* headers) {
  long status = 0;
  curl_easy_setopt(session->easy, CURLOPT_URL, url);
  curl_easy_setopt(session->easy, CURLOPT_HTTPHEADER, headers);
  const CURLcode code = curl_easy_perform(session->easy);
  if (code != CURLE_OK) Fail(curl_easy_strerror(code));
  curl_easy_getinfo(session->easy, CURLINFO_RESPONSE_CODE, &status);
  if (status >= 300) Fail(session->answer.text != NULL ? session->answer.text : url);
}

static void KeepAnswer(struct Session* session) {
  session->answer.length = 0;
  curl_easy_setopt(session->easy, CURLOPT_WRITEFUNCTION, Keep);
  curl_easy_setopt(session->easy, CURLOPT_WRITEDATA, &session->answer);
}

void CopyMember(const struct Answer* answer, const char* key, char* out) {
  char quoted[kShortText];
  const int quoted_length = snprintf(quoted, sizeof quoted, "\"%s\"", key);
  const char* found = NULL;
  for (const char* hit = strstr(answer->text, quoted); hit != NULL; hit = strstr(hit, quoted)) {
    hit += quoted_length;
    found = hit;
  }
  out[0] = '\0';
  if (found == NULL) return;
  found += strspn(found, ": \n");
  if (*found != '"') return;
  snprintf(out, kShortText, "%.*s", (int)strcspn(found + 1, "\""), found + 1);
}

static void Authorize(struct Session* session) {
  CURL* easy = session->easy;
  KeepAnswer(session);
  curl_easy_setopt(easy, CURLOPT_HTTPAUTH, CURLAUTH_BASIC);
  curl_easy_setopt(easy, CURLOPT_USERNAME, Setting("B2_APPLICATION_KEY_ID"));
  curl_easy_setopt(easy, CURLOPT_PASSWORD, Setting("B2_APPLICATION_KEY"));
  Perform(session, "https://api.backblazeb2.com/b2api/v1/b2_authorize_account", NULL);
  curl_easy_setopt(easy, CURLOPT_USERNAME, NULL);
  curl_easy_setopt(easy, CURLOPT_PASSWORD, NULL);
  CopyMember(&session->answer, "apiUrl", session->api_url);
  CopyMember(&session->answer, "authorizationToken", session->token);
  CopyMember(&session->answer, "accountId", session->account_id);
}

static void MakeHandle(struct Session* session) {
  session->easy = curl_easy_init();
  if (session->easy == NULL) Fail("no easy handle");
  CURL* easy = session->easy;
  curl_easy_setopt(easy, CURLOPT_PROXY, "http://127.0.0.1");
  curl_easy_setopt(easy, CURLOPT_PROXYPORT, strtol(Setting("BENCH_PROXY_PORT"), NULL, 10));
  curl_easy_setopt(easy, CURLOPT_CAINFO, Setting("BENCH_CA"));
  curl_easy_setopt(easy, CURLOPT_HTTP_VERSION, CURL_HTTP_VERSION_1_1);
  curl_easy_setopt(easy, CURLOPT_NOSIGNAL, 1L);
}

void OpenSession(struct Session* session) {
  memset(session, 0, sizeof *session);
  MakeHandle(session);
  Authorize(session);
}

void JoinSession(struct Session* session, const struct Session* first) {
  memset(session, 0, sizeof *session);
  memcpy(session->api_url, first->api_url, sizeof session->api_url);
  memcpy(session->token, first->token, sizeof session->token);
  MakeHandle(session);
}

void CloseSession(struct Session* session) {
  curl_easy_cleanup(session->easy);
  free(session->answer.text);
}

static struct curl_slist* TokenHeader(const char* token) {
  char line[2 * kShortText];
  snprintf(line, sizeof line, "Authorization: %s", token);
  return curl_slist_append(NULL, line);
}

void CallApi(struct Session* session, const char* call, const char* body) {
  char url[2 * kShortText];
  snprintf(url, sizeof url, "%s/b2api/v1/%s", session->api_url, call);
  struct curl_slist* headers = TokenHeader(session->token);
  KeepAnswer(session);
  curl_easy_setopt(session->easy, CURLOPT_POSTFIELDS, body);
  curl_easy_setopt(session->easy, CURLOPT_POSTFIELDSIZE_LARGE, (curl_off_t)-1);
  Perform(session, url, headers);
  curl_slist_free_all(headers);
}

void FetchRange(struct Session* session, const char* file_id, curl_off_t begin, curl_off_t end) {
  char url[2 * kShortText];
  char range[64];
  snprintf(url, sizeof url, "%s/b2api/v1/b2_download_file_by_id?fileId=%s", session->api_url,
           file_id);
  snprintf(range, sizeof range, "%lld-%lld", (long long)begin, (long long)end);
  struct curl_slist* headers = TokenHeader(session->token);
  curl_easy_setopt(session->easy, CURLOPT_HTTPGET, 1L);
  curl_easy_setopt(session->easy, CURLOPT_RANGE, range);
  curl_easy_setopt(session->easy, CURLOPT_WRITEFUNCTION, Drop);
  Perform(session, url, headers);
  curl_easy_setopt(session->easy, CURLOPT_RANGE, NULL);
  curl_slist_free_all(headers);
}

void PostFile(struct Session* session, const char* url, struct curl_slist* headers,
              struct Source* source) {
  const curl_off_t size = source->end - source->offset;
  KeepAnswer(session);
  curl_easy_setopt(session->easy, CURLOPT_POST, 1L);
  curl_easy_setopt(session->easy, CURLOPT_POSTFIELDS, NULL);
  curl_easy_setopt(session->easy, CURLOPT_POSTFIELDSIZE_LARGE, size);
  curl_easy_setopt(session->easy, CURLOPT_READFUNCTION, ReadSource);
  curl_easy_setopt(session->easy, CURLOPT_READDATA, source);
  Perform(session, url, headers);
}
