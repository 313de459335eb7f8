#include "bench/load/load_steps.h"

namespace load {
namespace {

using nlohmann::json;

Request Call(const Worker& worker, const std::string& name, const json& fields) {
  return {worker.session->api_url + "/b2api/v1/" + name,
          {"Authorization: " + worker.session->token},
          fields.dump()};
}

Request Download(const Worker& worker, const std::string& name, std::vector<std::string> headers) {
  headers.push_back("Authorization: " + worker.session->token);
  return {worker.session->download_url + "/file/" + worker.session->bucket_name + "/" +
              worker.folder + name,
          std::move(headers)};
}

Request Upload(const Worker& worker, const json& target, std::vector<std::string> headers) {
  headers.push_back("Authorization: " + target.at("authorizationToken").get<std::string>());
  headers.push_back("X-Bz-Content-Sha1: " + worker.sha1);
  return {target.at("uploadUrl"), std::move(headers), worker.content};
}

Request DeleteLast(const Worker& worker, const std::string& name) {
  return Call(worker, "b2_delete_file_version",
              {{"fileName", worker.folder + name}, {"fileId", worker.versions.back()}});
}

bool KeepVersion(Worker& worker, const std::string& body) {
  worker.versions.push_back(json::parse(body).at("fileId"));
  return true;
}

bool ForgetVersion(Worker& worker, const std::string&) {
  worker.versions.pop_back();
  return true;
}

bool IsContent(Worker& worker, const std::string& body) { return body == worker.content; }

template <int kPart>
Request UploadPart(const Worker& worker) {
  return Upload(worker, worker.part_target, {"X-Bz-Part-Number: " + std::to_string(kPart)});
}

constexpr size_t kRangeStart = 100, kRangeLength = 1000;

const Step kRound[] = {
    {"upload URL",
     [](const Worker& w) {
       return Call(w, "b2_get_upload_url", {{"bucketId", w.session->bucket_id}});
     },
     200,
     [](Worker& w, const std::string& body) {
       w.upload_target = json::parse(body);
       return true;
     }},
    {"upload",
     [](const Worker& w) {
       return Upload(w, w.upload_target,
                     {"X-Bz-File-Name: " + w.folder + "a", "Content-Type: b2/x-auto"});
     },
     200, KeepVersion},
    {"copy",
     [](const Worker& w) {
       return Call(w, "b2_copy_file",
                   {{"sourceFileId", w.versions.back()}, {"fileName", w.folder + "b"}});
     },
     200, KeepVersion},
    {"list",
     [](const Worker& w) {
       return Call(w, "b2_list_file_names",
                   {{"bucketId", w.session->bucket_id}, {"prefix", w.folder}});
     },
     200,
     [](Worker& w, const std::string& body) {
       const json files = json::parse(body).at("files");
       return files.size() == 2 && files[1].at("fileName") == w.folder + "b";
     }},
    {"download", [](const Worker& w) { return Download(w, "a", {}); }, 200, IsContent},
    {"range",
     [](const Worker& w) {
       const size_t end = kRangeStart + kRangeLength - 1;
       return Download(w, "b",
                       {"Range: bytes=" + std::to_string(kRangeStart) + "-" + std::to_string(end)});
     },
     206,
     [](Worker& w, const std::string& body) {
       return body == w.content.substr(kRangeStart, kRangeLength);
     }},
    {"info",
     [](const Worker& w) {
       return Call(w, "b2_get_file_info", {{"fileId", w.versions.back()}});
     },
     200,
     [](Worker& w, const std::string& body) { return json::parse(body)["contentSha1"] == w.sha1; }},
    {"hide",
     [](const Worker& w) {
       return Call(w, "b2_hide_file",
                   {{"bucketId", w.session->bucket_id}, {"fileName", w.folder + "b"}});
     },
     200, KeepVersion},
    {"hidden", [](const Worker& w) { return Download(w, "b", {}); }, 404, nullptr},
    {"unhide", [](const Worker& w) { return DeleteLast(w, "b"); }, 200, ForgetVersion},
    {"delete copy", [](const Worker& w) { return DeleteLast(w, "b"); }, 200, ForgetVersion},
    {"delete", [](const Worker& w) { return DeleteLast(w, "a"); }, 200, ForgetVersion},
    {"start large",
     [](const Worker& w) {
       return Call(w, "b2_start_large_file",
                   {{"bucketId", w.session->bucket_id},
                    {"fileName", w.folder + "large"},
                    {"contentType", "b2/x-auto"}});
     },
     200, KeepVersion},
    {"part URL",
     [](const Worker& w) {
       return Call(w, "b2_get_upload_part_url", {{"fileId", w.versions.back()}});
     },
     200,
     [](Worker& w, const std::string& body) {
       w.part_target = json::parse(body);
       return true;
     }},
    {"part 2", UploadPart<2>, 200, nullptr},
    {"part 1", UploadPart<1>, 200, nullptr},
    {"finish",
     [](const Worker& w) {
       return Call(w, "b2_finish_large_file",
                   {{"fileId", w.versions.back()}, {"partSha1Array", {w.sha1, w.sha1}}});
     },
     200, nullptr},
    {"download large", [](const Worker& w) { return Download(w, "large", {}); }, 200,
     [](Worker& w, const std::string& body) { return body == w.content + w.content; }},
    {"delete large", [](const Worker& w) { return DeleteLast(w, "large"); }, 200, ForgetVersion},
};

}  // namespace

std::span<const Step> Round() { return kRound; }

}  // namespace load
