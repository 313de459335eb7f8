// The least that the service's answers cost: the same requests as the library makes for a job, with
// one easy handle a thread. `compare` runs it; usage as plugin_client.

#include <fcntl.h>
#include <pthread.h>
#include <stdatomic.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include "bench/bare_http.h"
#include "bench/bare_pages.h"
#include "bench/job_clock.h"

enum { kMostThreads = 64, kPartBytes = 100000000 };

struct Job {
  void (*item)(struct Session* session, const struct Job* job, long index);
  const char* bucket;
  const char* name;  // file ID, name prefix or folder
  long long file_bytes;
  long long block_bytes;
  long count;
  int threads;
  const char* bytes;  // an upload's mapped source
  size_t byte_count;
  atomic_long* next;
  const struct Session* first;
};

static void ReadBlock(struct Session* session, const struct Job* job, long index) {
  const long long offset = job->block_bytes * index;
  FetchRange(session, job->name, offset, offset + job->block_bytes - 1);
}

static void ReadAnywhere(struct Session* session, const struct Job* job, long index) {
  const long long offset = BlockOffset(index, job->file_bytes, job->block_bytes);
  FetchRange(session, job->name, offset, offset + job->block_bytes - 1);
}

static void LookUp(struct Session* session, const struct Job* job, long index) {
  char body[kShortText];
  (void)index;
  snprintf(body, sizeof body, "{\"fileId\":\"%s\"}", job->name);
  CallApi(session, "b2_get_file_info", body);
  UsePage(session->answer.text, session->answer.length);
}

static void ListRoot(struct Session* session) {
  char body[2 * kShortText];
  snprintf(body, sizeof body, "{\"accountId\":\"%s\",\"bucketTypes\":[\"all\"]}",
           session->account_id);
  CallApi(session, "b2_list_buckets", body);
}

static void ListFolder(struct Session* session, const struct Job* job, long index) {
  char next[kShortText] = "";
  char body[4 * kShortText];
  (void)index;
  do {
    snprintf(body, sizeof body,
             "{\"bucketId\":\"%s\",\"delimiter\":\"/\",\"maxFileCount\":1000,\"prefix\":\"%s/\","
             "\"startFileName\":\"%s\"}",
             job->bucket, job->name, next);
    CallApi(session, "b2_list_file_names", body);
    UsePage(session->answer.text, session->answer.length);
    CopyMember(&session->answer, "nextFileName", next);
  } while (next[0] != '\0');
}

static struct curl_slist* AddLine(struct curl_slist* list, const char* name, const char* value) {
  char line[4 * kShortText];
  snprintf(line, sizeof line, "%s: %s", name, value);
  return curl_slist_append(list, line);
}

static void UploadSmall(struct Session* session, const struct Job* job, long index) {
  char text[2 * kShortText];
  char url[kShortText];
  char token[kShortText];
  snprintf(text, sizeof text, "{\"bucketId\":\"%s\"}", job->bucket);
  CallApi(session, "b2_get_upload_url", text);
  CopyMember(&session->answer, "uploadUrl", url);
  CopyMember(&session->answer, "authorizationToken", token);
  snprintf(text, sizeof text, "%s-%ld", job->name, index);
  struct curl_slist* headers = AddLine(NULL, "Authorization", token);
  headers = AddLine(headers, "X-Bz-File-Name", text);
  headers = AddLine(headers, "Content-Type", "application/octet-stream");
  headers = AddLine(headers, "X-Bz-Content-Sha1", "do_not_verify");
  struct Source source = {job->bytes, job->byte_count, 0, job->file_bytes};
  PostFile(session, url, headers, &source);
  curl_slist_free_all(headers);
}

static void UploadPart(struct Session* session, const struct Job* job, const char* url,
                       const char* token, long part, char* sha1) {
  char number[32];
  const long long begin = (part - 1) * (long long)kPartBytes;
  const long long left = job->file_bytes - begin;
  snprintf(number, sizeof number, "%ld", part);
  struct curl_slist* headers = AddLine(NULL, "Authorization", token);
  headers = AddLine(headers, "X-Bz-Part-Number", number);
  headers = AddLine(headers, "X-Bz-Content-Sha1", "do_not_verify");
  const long long end = begin + (left < kPartBytes ? left : kPartBytes);
  struct Source source = {job->bytes, job->byte_count, begin, end};
  PostFile(session, url, headers, &source);
  curl_slist_free_all(headers);
  char shown[kShortText];
  CopyMember(&session->answer, "contentSha1", shown);
  const char* colon = strchr(shown, ':');
  snprintf(sha1, kShortText, "%s", colon == NULL ? shown : colon + 1);
}

static void UploadLarge(struct Session* session, const struct Job* job, long index) {
  char text[4 * kShortText];
  char file_id[kShortText];
  char url[kShortText];
  char token[kShortText];
  char sha1[kShortText];
  snprintf(text, sizeof text,
           "{\"bucketId\":\"%s\",\"contentType\":\"application/octet-stream\","
           "\"fileName\":\"%s-%ld\"}",
           job->bucket, job->name, index);
  CallApi(session, "b2_start_large_file", text);
  CopyMember(&session->answer, "fileId", file_id);
  snprintf(text, sizeof text, "{\"fileId\":\"%s\"}", file_id);
  CallApi(session, "b2_get_upload_part_url", text);
  CopyMember(&session->answer, "uploadUrl", url);
  CopyMember(&session->answer, "authorizationToken", token);
  size_t length =
      (size_t)snprintf(text, sizeof text, "{\"fileId\":\"%s\",\"partSha1Array\":[", file_id);
  for (long part = 1; (part - 1) * (long long)kPartBytes < job->file_bytes; ++part) {
    UploadPart(session, job, url, token, part, sha1);
    length += (size_t)snprintf(text + length, sizeof text - length, "%s\"%s\"", part > 1 ? "," : "",
                               sha1);
    if (length + kShortText > sizeof text) Fail("too many parts");
  }
  snprintf(text + length, sizeof text - length, "]}");
  CallApi(session, "b2_finish_large_file", text);
}

static void Work(struct Session* session, const struct Job* job) {
  for (long index = (*job->next)++; index < job->count; index = (*job->next)++) {
    job->item(session, job, index);
  }
}

static void* WorkBeside(void* context) {
  const struct Job* job = context;
  struct Session session;
  JoinSession(&session, job->first);
  Work(&session, job);
  CloseSession(&session);
  return NULL;
}

static void MapSource(struct Job* job, const char* file) {
  struct stat status;
  const int descriptor = open(file, O_RDONLY);
  if (descriptor < 0 || fstat(descriptor, &status) != 0) Fail(file);
  job->byte_count = (size_t)status.st_size;
  void* bytes = mmap(NULL, job->byte_count, PROT_READ, MAP_SHARED, descriptor, 0);
  close(descriptor);
  if (bytes == MAP_FAILED) Fail(file);
  job->bytes = bytes;
}

static void Run(struct Job* job) {
  pthread_t threads[kMostThreads];
  struct Session first;
  atomic_long next = 0;
  if (job->threads < 1 || job->threads > kMostThreads) Fail("bad number of threads");
  OpenSession(&first);
  ListRoot(&first);
  job->first = &first;
  job->next = &next;
  const struct JobClock start = StartJobClock();
  for (int i = 1; i < job->threads; ++i) {
    if (pthread_create(&threads[i], NULL, WorkBeside, job) != 0) Fail("no thread");
  }
  Work(&first, job);
  for (int i = 1; i < job->threads; ++i) pthread_join(threads[i], NULL);
  PrintJobClock(start);
  CloseSession(&first);
}

// JOB BUCKET NAME FILE_BYTES BLOCK_BYTES COUNT THREADS [SOURCE_FILE]
int main(int argc, char** argv) {
  if (argc < 8) Fail("usage: JOB BUCKET NAME FILE_BYTES BLOCK_BYTES COUNT THREADS [SOURCE_FILE]");
  struct Job job = {.bucket = argv[2],
                    .name = argv[3],
                    .file_bytes = atoll(argv[4]),
                    .block_bytes = atoll(argv[5]),
                    .count = atol(argv[6]),
                    .threads = atoi(argv[7])};
  if (argc > 8) MapSource(&job, argv[8]);
  if (strcmp(argv[1], "read") == 0) job.item = ReadBlock;
  if (strcmp(argv[1], "read-random") == 0) job.item = ReadAnywhere;
  if (strcmp(argv[1], "lookup") == 0) job.item = LookUp;
  if (strcmp(argv[1], "list") == 0) job.item = ListFolder;
  if (strcmp(argv[1], "upload") == 0) {
    job.item = job.file_bytes < kPartBytes ? UploadSmall : UploadLarge;
  }
  if (job.item == NULL && strcmp(argv[1], "session") != 0) Fail("no such job");
  curl_global_init(CURL_GLOBAL_DEFAULT);
  Run(&job);
  curl_global_cleanup();
  return 0;
}
