#include <algorithm>
#include <functional>

#include "conform/probe/obey.h"
#include "conform/probe/object.h"
#include "conform/probe/the_store.h"
#include "protocol/log_lines.h"

// Read and Upload.
namespace probe {
namespace {

constexpr long long kBlock = 30'000;  // bytes

bool GivenUp(const Orders& orders, const std::shared_ptr<_FS_HANDLE>& handle) {
  const bool canceled = handle && handle->transfer && handle->transfer->state >= TRANSFER_CANCELED;
  return canceled && !orders.Has("deaf");
}

struct Delivery {
  const Orders& orders;
  IFetchCallback* sink;
  std::shared_ptr<_FS_HANDLE> handle;

  AERROR Hand(long long offset, const char* data, long long count) const {
    if (GivenUp(orders, handle)) return READ_CANCELED;
    CallHost(orders, [&] { return sink->OnFetched(offset, data, static_cast<int>(count), 0); });
    return SUCCESS;
  }

  // A range, whose bytes `data` holds, block by block.
  AERROR HandAll(long long offset, const std::string& data) const {
    const auto size = static_cast<long long>(data.size());
    const long long block = orders.Has("one-block") ? size : kBlock;
    for (long long at = 0; at < size; at += block) {
      if (orders.Has("gap") && at == block) continue;
      const long long place = orders.Has("backward") ? (size - 1 - at) / block * block : at;
      const long long count = std::min(block, size - place);
      const AERROR code = Hand(offset + place, data.data() + place, count);
      if (code != SUCCESS) return code;
    }
    return SUCCESS;
  }
};

// What the file's range becomes on its way.
std::string Spoilt(const Orders& orders, std::string data) {
  if (orders.Has("short")) data.resize(data.size() / 2);
  if (orders.Has("long")) data += data;
  if (orders.Has("flip") && !data.empty()) data[data.size() / 2] ^= 1;
  return data;
}

// Misdeeds: short, long, flip, gap, backward, one-block, twice (the range again), half-again (half
// of it, then all), elsewhere (another offset), empty-block, negative-block, thread, deaf (to the
// host's giving up), answer (the status that the log tells).
AERROR Deliver(const Orders& orders, const Store::File& file, long long offset, long long length,
               const Delivery& delivery) {
  const auto size = static_cast<long long>(file.bytes->size());
  if (offset < 0 || length < 1 || offset >= size) {
    SayAnswer(query::kRead, "GET", 416);
    return FAILED;
  }
  const std::string range =
      file.bytes->substr(static_cast<std::size_t>(offset), static_cast<std::size_t>(length));
  SayAnswer(query::kRead, "GET", static_cast<int>(orders.Number("answer", 206)));
  if (orders.Has("empty-block")) delivery.Hand(offset, range.data(), 0);
  if (orders.Has("negative-block")) delivery.Hand(offset, range.data(), -1);
  if (orders.Has("elsewhere")) offset += 1 << 20;
  if (orders.Has("half-again")) delivery.HandAll(offset, range.substr(0, range.size() / 2));
  AERROR code = delivery.HandAll(offset, Spoilt(orders, range));
  if (code == SUCCESS && orders.Has("twice")) code = delivery.HandAll(offset, range);
  return code;
}

// Misdeeds: half (of the contents is read and stored), unread (nothing is, and the file is stored
// with zeros), twice (read from the start again), beyond (read behind the end, too), negative (asks
// for less than nothing), thread, deaf (to a cache that fails, and to giving up).
AERROR Fetch(const Orders& orders, ICacheIO* cache, const std::shared_ptr<_FS_HANDLE>& handle,
             std::string& bytes) {
  if (orders.Has("unread")) return SUCCESS;
  const auto size = static_cast<long long>(bytes.size());
  const long long end = orders.Has("half") ? size / 2 : size;
  for (long long at = 0; at < end;) {
    int read = 0;
    const int wanted = static_cast<int>(std::min(kBlock, end - at));
    const AERROR code = CallHost(
        orders, [&] { return cache->Read(handle.get(), at, bytes.data() + at, wanted, &read); });
    if (GivenUp(orders, handle)) return UPLOAD_CANCELED;
    if (code != SUCCESS || read <= 0) {
      if (!orders.Has("deaf")) return UPLOAD_CANCELED;
      read = wanted;
    }
    at += read;
    if (handle && handle->transfer) handle->transfer->offset = at;
  }
  char block[16];
  int read = 0;
  if (orders.Has("beyond")) cache->Read(handle.get(), size + 5, block, sizeof block, &read);
  if (orders.Has("beyond")) cache->Read(handle.get(), -5, block, sizeof block, &read);
  if (orders.Has("negative")) cache->Read(handle.get(), 0, block, -1, &read);
  return SUCCESS;
}

}  // namespace

AERROR Probe::Read(const char* id, long long offset, long long length,
                   std::shared_ptr<_FS_HANDLE> handle, IFetchCallback* callback, char**) {
  return Obey("Read", [&](const Orders& orders) {
    const auto file = TheStore().Find(id);
    if (file) return Deliver(orders, *file, offset, length, {orders, callback, handle});
    SayAnswer(query::kRead, "GET", 404);
    return FAILED;
  });
}

// Further misdeeds: no-record (fills nothing in), odd-record.
AERROR Probe::Upload(const char* id, std::shared_ptr<_FS_HANDLE> handle, ICacheIO* cache,
                     _FS_FILE_V2* out, UPLOAD_FLAG, char**) {
  return Obey("Upload", [&](const Orders& orders) {
    std::string bytes(out->size, '\0');
    AERROR code = Fetch(orders, cache, handle, bytes);
    if (code == SUCCESS && orders.Has("twice")) code = Fetch(orders, cache, handle, bytes);
    if (code != SUCCESS) return code;
    const std::string folder = NameOf(id);
    const _FS_FILE_V2 stored =
        TheStore().Put((folder.empty() ? "" : folder + "/") + out->name, bytes);
    SayAnswer(query::kUploadSingle, "POST", 200);
    if (!orders.Has("no-record")) *out = stored;
    if (orders.Has("odd-record")) {
      out->id = "\x1b[2J";
      out->size = UINT64_MAX;
      out->texts = {"sha1=0000000000000000000000000000000000000000"};
    }
    return SUCCESS;
  });
}

}  // namespace probe
