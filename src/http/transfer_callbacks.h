#pragma once

#include <curl/curl.h>
#include <event2/buffer.h>

#include <cstddef>

#include "http/transfer_state.h"

// libcurl's callbacks. Each runs on the thread of its transfer; none lets an exception reach
// libcurl.

// They travel through CURLImpl's Perform... slots as plain pointers. Converting a function pointer
// so is only conditionally supported, but every system with a dynamic loader does.
template <class Function>
void* CallbackPointer(Function* function) {
  return reinterpret_cast<void*>(function);
}

// Most bytes of an answer that is collected, headers included: a small one can unpack to
// gigabytes.
inline constexpr std::size_t kLargestAnswer = std::size_t{64} * 1024 * 1024;

// Appends to the buffer; refuses what would make it larger than kLargestAnswer.
std::size_t write_callback_ev_func(char* data, std::size_t size, std::size_t count,
                                   evbuffer* buffer);

std::size_t read_callback_buf_func(char* data, std::size_t size, std::size_t count,
                                   BufferCursor* cursor);
int read_callback_buf_seek_func(BufferCursor* cursor, curl_off_t offset, int origin);

// Stages bytes for the host and hands them over in blocks. Returns 0, which ends the transfer with
// CURLE_WRITE_ERROR, once the handle's transfer state is TRANSFER_CANCELED or above. The body of an
// error answer is dropped: it is not part of the file. A strict state also refuses the bytes of
// another range, and those beyond it.
std::size_t write_callback_cache_func(char* data, std::size_t size, std::size_t count,
                                      DownloadState* state);

// Hands what is staged to the host, whose exceptions it lets through.
void DeliverStaged(DownloadState& state);

// Whether the host has given the transfer up.
bool GivenUp(const std::shared_ptr<_FS_HANDLE>& handle);

// Reads the range out of the host's cache. Ends the transfer with CURLE_ABORTED_BY_CALLBACK once
// the handle's transfer state is TRANSFER_CANCELED or above, or when the cache cannot be read.
std::size_t read_callback_cache_func(char* data, std::size_t size, std::size_t count,
                                     UploadState* state);
// Lets libcurl send again from the range's start what a dropped idle connection did not take.
int read_callback_cache_seek_func(UploadState* state, curl_off_t offset, int origin);

// The range as above, and behind it its digest.
std::size_t read_callback_digest_func(char* data, std::size_t size, std::size_t count,
                                      DigestState* state);
// Only back to the start.
int read_callback_digest_seek_func(DigestState* state, curl_off_t offset, int origin);

// Ends the transfer with CURLE_ABORTED_BY_CALLBACK when it is to be given up.
int _CURL_PROGRESS_SHARED(SharedProgress* progress, curl_off_t download_total,
                          curl_off_t downloaded, curl_off_t upload_total, curl_off_t uploaded);

// Progress to the host; none ever ends a transfer.
int _CURL_PROGRESS(ProgressBinding* binding, curl_off_t download_total, curl_off_t downloaded,
                   curl_off_t upload_total, curl_off_t uploaded);
int _CURL_PROGRESS_DOWNLOAD(ProgressBinding* binding, curl_off_t download_total,
                            curl_off_t downloaded, curl_off_t upload_total, curl_off_t uploaded);
int _CURL_PROGRESS_B2(UploadProgress* progress, curl_off_t download_total, curl_off_t downloaded,
                      curl_off_t upload_total, curl_off_t uploaded);

// Gives every new socket a send buffer of 1 MiB.
int _sockopt_callback(void* context, curl_socket_t socket, curlsocktype purpose);
