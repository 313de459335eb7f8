// b2_load REQUESTS CONNECTIONS: a mixed load on the service, every answer checked. CONNECTIONS
// workers go through the rounds of load_steps.h side by side, on connections kept alive, until at
// least REQUESTS requests are answered. Account, proxy and CA come from the environment, as load.sh
// sets them.

#include <curl/curl.h>
#include <openssl/evp.h>

#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <stdexcept>

#include "bench/load/load_steps.h"

namespace load {
namespace {

using nlohmann::json;

constexpr size_t kContentBytes = 20'000;

template <auto Free>
struct FreeWith {
  template <class T>
  void operator()(T* object) const {
    Free(object);
  }
};
using Easy = std::unique_ptr<CURL, FreeWith<curl_easy_cleanup>>;
using Multi = std::unique_ptr<CURLM, FreeWith<curl_multi_cleanup>>;
using HeaderList = std::unique_ptr<curl_slist, FreeWith<curl_slist_free_all>>;

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) throw std::runtime_error(std::string(name) + " is not set");
  return value;
}

std::string Sha1(const std::string& text) {
  unsigned char digest[EVP_MAX_MD_SIZE];
  unsigned length = 0;
  EVP_Digest(text.data(), text.size(), digest, &length, EVP_sha1(), nullptr);
  std::string hex;
  for (unsigned i = 0; i < length; ++i) {
    constexpr char kDigits[] = "0123456789abcdef";
    hex += {kDigits[digest[i] >> 4], kDigits[digest[i] & 15]};
  }
  return hex;
}

size_t Collect(char* data, size_t size, size_t count, void* text) {
  static_cast<std::string*>(text)->append(data, size * count);
  return size * count;
}

// A request on its way. Its handle is used for one after another.
class Exchange {
 public:
  Exchange() : easy_(curl_easy_init()) {
    curl_easy_setopt(easy_.get(), CURLOPT_CAINFO, Environment("CURL_CA_BUNDLE").c_str());
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEFUNCTION, Collect);
    curl_easy_setopt(easy_.get(), CURLOPT_WRITEDATA, &reply_.body);
    curl_easy_setopt(easy_.get(), CURLOPT_NOSIGNAL, 1L);
    curl_easy_setopt(easy_.get(), CURLOPT_TIMEOUT, 300L);
  }

  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;

  CURL* Prepare(Request request) {
    request_ = std::move(request);
    reply_.body.clear();
    headers_.reset();
    request_.headers.emplace_back("Expect:");
    for (const std::string& header : request_.headers) {
      headers_.reset(curl_slist_append(headers_.release(), header.c_str()));
    }
    CURL* easy = easy_.get();
    curl_easy_setopt(easy, CURLOPT_URL, request_.url.c_str());
    curl_easy_setopt(easy, CURLOPT_HTTPHEADER, headers_.get());
    if (request_.body) {
      curl_easy_setopt(easy, CURLOPT_POSTFIELDSIZE, static_cast<long>(request_.body->size()));
      curl_easy_setopt(easy, CURLOPT_POSTFIELDS, request_.body->data());
    } else {
      curl_easy_setopt(easy, CURLOPT_HTTPGET, 1L);
    }
    return easy;
  }

  const Reply& Finish() {
    curl_easy_getinfo(easy_.get(), CURLINFO_RESPONSE_CODE, &reply_.status);
    long opened = 0;
    curl_easy_getinfo(easy_.get(), CURLINFO_NUM_CONNECTS, &opened);
    opened_ += opened;
    return reply_;
  }

  /// Connections opened by all requests so far.
  long opened() const { return opened_; }

 private:
  Easy easy_;
  HeaderList headers_;
  Request request_;
  Reply reply_;
  long opened_ = 0;
};

// One worker, the step it is at, and its request.
struct Task {
  Worker worker;
  size_t step = 0;
  Exchange exchange = {};
};

class Load {
 public:
  Load(Session session, size_t requests, size_t workers)
      : session_(std::move(session)), wanted_(requests), multi_(curl_multi_init()) {
    curl_multi_setopt(multi_.get(), CURLMOPT_MAXCONNECTS, static_cast<long>(workers * 3));
    for (size_t i = 0; i < workers; ++i) {
      Worker& worker = tasks_.emplace_back().worker;
      worker.session = &session_;
      worker.folder = "worker" + std::to_string(i) + "/";
      worker.content.assign(kContentBytes + i, static_cast<char>('a' + i % 26));
      worker.sha1 = Sha1(worker.content);
    }
  }

  // Throws at the first answer that is wrong.
  void Run() {
    for (Task& task : tasks_) Start(task);
    int running = 0;
    do {
      curl_multi_perform(multi_.get(), &running);
      TakeAnswers();
      curl_multi_poll(multi_.get(), nullptr, 0, 100, nullptr);
    } while (busy_ > 0);
  }

  void Report() const {
    long opened = 0;
    for (const Task& task : tasks_) opened += task.exchange.opened();
    std::printf("%zu requests, %ld connections\n", answered_, opened);
  }

 private:
  void Start(Task& task) {
    CURL* easy = task.exchange.Prepare(Round()[task.step].make(task.worker));
    curl_easy_setopt(easy, CURLOPT_PRIVATE, &task);
    const CURLMcode code = curl_multi_add_handle(multi_.get(), easy);
    if (code != CURLM_OK) throw std::runtime_error(curl_multi_strerror(code));
    ++busy_;
  }

  void TakeAnswers() {
    int left = 0;
    while (const CURLMsg* message = curl_multi_info_read(multi_.get(), &left)) {
      CURL* easy = message->easy_handle;
      const CURLcode result = message->data.result;
      curl_multi_remove_handle(multi_.get(), easy);
      --busy_;
      Task* task = nullptr;
      curl_easy_getinfo(easy, CURLINFO_PRIVATE, &task);
      Check(*task, result);
      task->step = (task->step + 1) % Round().size();
      if (task->step != 0 || answered_ < wanted_) Start(*task);
    }
  }

  void Check(Task& task, CURLcode result) {
    const Step& step = Round()[task.step];
    const Reply& reply = task.exchange.Finish();
    ++answered_;
    if (result == CURLE_OK && reply.status == step.status &&
        (step.take == nullptr || step.take(task.worker, reply.body))) {
      return;
    }
    throw std::runtime_error(std::string(step.name) + ": " + curl_easy_strerror(result) + ", " +
                             std::to_string(reply.status) + " " + reply.body.substr(0, 500));
  }

  Session session_;
  size_t wanted_;
  size_t answered_ = 0;
  size_t busy_ = 0;
  std::deque<Task> tasks_;
  Multi multi_;  // goes before the handles
};

json Ask(Request request) {
  Exchange exchange;
  const CURLcode result = curl_easy_perform(exchange.Prepare(std::move(request)));
  const Reply& reply = exchange.Finish();
  if (result != CURLE_OK || reply.status != 200) {
    throw std::runtime_error(std::string(curl_easy_strerror(result)) + " " + reply.body);
  }
  return json::parse(reply.body);
}

Session SignIn() {
  const std::string id = Environment("B2_APPLICATION_KEY_ID");
  const std::string login = id + ":" + Environment("B2_APPLICATION_KEY");
  std::vector<unsigned char> basic(login.size() * 2 + 4);
  EVP_EncodeBlock(basic.data(), reinterpret_cast<const unsigned char*>(login.data()),
                  static_cast<int>(login.size()));
  const std::string header =
      std::string("Authorization: Basic ") + reinterpret_cast<const char*>(basic.data());
  const json answer =
      Ask({"https://api.backblazeb2.com/b2api/v1/b2_authorize_account", {header}, {}});
  Session session{answer["apiUrl"], answer["downloadUrl"], answer["authorizationToken"], {}, {}};
  const json buckets = Ask({session.api_url + "/b2api/v1/b2_list_buckets",
                            {"Authorization: " + session.token},
                            json{{"accountId", id}}.dump()});
  session.bucket_name = buckets["buckets"].at(0)["bucketName"];
  session.bucket_id = buckets["buckets"].at(0)["bucketId"];
  return session;
}

}  // namespace
}  // namespace load

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("usage: b2_load REQUESTS CONNECTIONS\n", stderr);
    return 2;
  }
  curl_global_init(CURL_GLOBAL_DEFAULT);
  int code = 0;
  try {
    load::Load load(load::SignIn(), std::stoul(argv[1]), std::stoul(argv[2]));
    load.Run();
    load.Report();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "b2_load: %s\n", error.what());
    code = 1;
  }
  curl_global_cleanup();
  return code;
}
