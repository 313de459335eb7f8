#include "http/transfer_callbacks.h"

#include <sys/socket.h>

#include <algorithm>
#include <charconv>
#include <climits>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "http/easy_handle.h"

namespace {

constexpr int kSendBufferBytes = 1024 * 1024;

bool IsErrorAnswer(CURL* easy) { return LongInfo(easy, CURLINFO_RESPONSE_CODE) >= 400; }

double Speed(CURL* easy, CURLINFO which) { return static_cast<double>(OffsetInfo(easy, which)); }

// Where the range begins that the latest answer says it holds; -1 when it does not say.
long long RangeStart(CURL* easy) {
  constexpr std::string_view kUnit = "bytes ";
  curl_header* header = nullptr;
  if (curl_easy_header(easy, "Content-Range", 0, CURLH_HEADER, -1, &header) != CURLHE_OK) return -1;
  std::string_view value = header->value;
  if (header->amount != 1 || !value.starts_with(kUnit)) return -1;
  value.remove_prefix(kUnit.size());
  long long start = -1;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), start);
  return error == std::errc() && end != value.data() + value.size() && *end == '-' ? start : -1;
}

// Whether the latest answer is of the range asked for. The service answers a range that is the
// whole file with 200; so does whatever on the way does not know ranges, with other bytes.
bool IsAskedRange(const DownloadState& state) {
  const long status = LongInfo(state.easy, CURLINFO_RESPONSE_CODE);
  const curl_off_t length = OffsetInfo(state.easy, CURLINFO_CONTENT_LENGTH_DOWNLOAD_T);
  if (status == 206) return RangeStart(state.easy) == state.start;
  return status == 200 && state.start == 0 && length == state.remaining;
}

bool Admit(DownloadState& state, std::size_t length) {
  if (!state.strict) return true;
  state.known = state.known || IsAskedRange(state);
  const long long room = state.remaining - state.buffered;
  state.refused = !state.known || static_cast<long long>(length) > room;
  return !state.refused;
}

// False when the host gave up.
bool Stage(DownloadState& state, const char* data, std::size_t length) {
  while (length > 0) {
    if (GivenUp(state.handle)) return false;
    const auto room = static_cast<std::size_t>(kStagingBytes - state.buffered);
    const std::size_t taken = std::min(length, room);
    std::memcpy(state.buffer.get() + state.buffered, data, taken);
    state.buffered += static_cast<int>(taken);
    data += taken;
    length -= taken;
    const bool complete = state.buffered == kStagingBytes || state.buffered == state.remaining;
    if (complete) DeliverStaged(state);
  }
  return !GivenUp(state.handle);
}

// The bytes read, or CURL_READFUNC_ABORT.
std::size_t ReadCache(UploadState& state, char* data, long long wanted) {
  int read = 0;
  const AERROR result =
      state.cache->Read(state.handle.get(), state.offset, data, static_cast<int>(wanted), &read);
  if (result != AERROR::SUCCESS || read <= 0 || read > wanted) return CURL_READFUNC_ABORT;
  state.offset += read;
  if (state.shown && state.handle && state.handle->transfer)
    state.handle->transfer->offset = state.offset;
  return static_cast<std::size_t>(read);
}

}  // namespace

bool GivenUp(const std::shared_ptr<_FS_HANDLE>& handle) {
  return handle && handle->transfer && handle->transfer->state.load() >= TRANSFER_CANCELED;
}

std::size_t write_callback_ev_func(char* data, std::size_t size, std::size_t count,
                                   evbuffer* buffer) {
  const std::size_t length = size * count;
  if (evbuffer_get_length(buffer) + length > kLargestAnswer) return 0;
  return evbuffer_add(buffer, data, length) == 0 ? length : 0;
}

std::size_t read_callback_buf_func(char* data, std::size_t size, std::size_t count,
                                   BufferCursor* cursor) {
  const long long left = cursor->length - cursor->position;
  if (left <= 0 || cursor->position < 0) return 0;
  const std::size_t length = std::min(size * count, static_cast<std::size_t>(left));
  std::memcpy(data, cursor->data + cursor->position, length);
  cursor->position += static_cast<long long>(length);
  return length;
}

int read_callback_buf_seek_func(BufferCursor* cursor, curl_off_t offset, int origin) {
  if (cursor == nullptr) return CURL_SEEKFUNC_FAIL;
  if (origin == SEEK_SET) cursor->position = offset;
  if (origin == SEEK_CUR) cursor->position += offset;
  if (origin == SEEK_END) cursor->position = cursor->length + offset;
  return CURL_SEEKFUNC_OK;
}

std::size_t write_callback_cache_func(char* data, std::size_t size, std::size_t count,
                                      DownloadState* state) {
  const std::size_t length = size * count;
  if (GivenUp(state->handle)) return 0;
  if (IsErrorAnswer(state->easy)) return length;
  try {
    return Admit(*state, length) && Stage(*state, data, length) ? length : 0;
  } catch (...) {
    return 0;
  }
}

void DeliverStaged(DownloadState& state) {
  state.callback->OnFetched(state.offset, state.buffer.get(), state.buffered, 0);
  state.offset += state.buffered;
  state.remaining -= state.buffered;
  state.buffered = 0;
}

std::size_t read_callback_cache_func(char* data, std::size_t size, std::size_t count,
                                     UploadState* state) {
  if (GivenUp(state->handle)) return CURL_READFUNC_ABORT;
  const long long left = state->start + state->length - state->offset;
  const long long room = static_cast<long long>(std::min<std::size_t>(size * count, INT_MAX));
  if (left <= 0 || room == 0) return 0;
  try {
    return ReadCache(*state, data, std::min(left, room));
  } catch (...) {
    return CURL_READFUNC_ABORT;
  }
}

int read_callback_cache_seek_func(UploadState* state, curl_off_t offset, int origin) {
  if (origin != SEEK_SET || offset < 0 || offset > state->length) return CURL_SEEKFUNC_FAIL;
  state->offset = state->start + offset;
  return CURL_SEEKFUNC_OK;
}

std::size_t read_callback_digest_func(char* data, std::size_t size, std::size_t count,
                                      DigestState* state) {
  const std::size_t read = read_callback_cache_func(data, size, count, &state->range);
  if (read == CURL_READFUNC_ABORT) return read;
  try {
    if (read > 0) {
      state->sha1.Update(data, read);
      return read;
    }
    if (state->digits.empty()) state->digits = state->sha1.HexDigest();
    const std::size_t sent = state->digits.copy(data, size * count, state->digits_sent);
    state->digits_sent += sent;
    return sent;
  } catch (...) {
    return CURL_READFUNC_ABORT;
  }
}

int read_callback_digest_seek_func(DigestState* state, curl_off_t offset, int origin) {
  if (offset != 0) return CURL_SEEKFUNC_FAIL;
  try {
    state->sha1.Restart();
  } catch (...) {
    return CURL_SEEKFUNC_FAIL;
  }
  state->digits.clear();
  state->digits_sent = 0;
  return read_callback_cache_seek_func(&state->range, offset, origin);
}

int _CURL_PROGRESS_SHARED(SharedProgress* progress, curl_off_t, curl_off_t, curl_off_t,
                          curl_off_t uploaded) {
  progress->uploaded = uploaded;
  return progress->stop() ? 1 : 0;
}

int _CURL_PROGRESS(ProgressBinding* binding, curl_off_t, curl_off_t, curl_off_t upload_total,
                   curl_off_t uploaded) {
  if (binding != nullptr && binding->function != nullptr) {
    binding->function(upload_total, uploaded, binding->context,
                      Speed(binding->easy, CURLINFO_SPEED_UPLOAD_T));
  }
  return 0;
}

int _CURL_PROGRESS_DOWNLOAD(ProgressBinding* binding, curl_off_t download_total,
                            curl_off_t downloaded, curl_off_t, curl_off_t) {
  if (binding != nullptr && binding->function != nullptr) {
    binding->function(download_total, downloaded, binding->context,
                      Speed(binding->easy, CURLINFO_SPEED_DOWNLOAD_T));
  }
  return 0;
}

int _CURL_PROGRESS_B2(UploadProgress* progress, curl_off_t, curl_off_t, curl_off_t,
                      curl_off_t uploaded) {
  if (progress == nullptr || progress->binding.function == nullptr) return 0;
  progress->sent += uploaded - progress->last;
  progress->last = uploaded;
  progress->binding.function(progress->total, progress->sent, progress->binding.context,
                             Speed(progress->binding.easy, CURLINFO_SPEED_UPLOAD_T));
  return 0;
}

int _sockopt_callback(void*, curl_socket_t socket, curlsocktype) {
  // A refused size leaves the system's default, which works as well, only slower.
  setsockopt(socket, SOL_SOCKET, SO_SNDBUF, &kSendBufferBytes, sizeof kSendBufferBytes);
  return CURL_SOCKOPT_OK;
}
