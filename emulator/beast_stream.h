#pragma once

#include <boost/asio/buffer.hpp>
#include <boost/asio/error.hpp>
#include <boost/beast/core/error.hpp>
#include <cstddef>

#include "emulator/stream.h"

namespace emulator {

// A Stream in the form that Beast's synchronous parsers and serialisers want. Writes throw Aborted
// rather than report an error.
class BeastStream {
 public:
  explicit BeastStream(Stream& stream) : stream_(stream) {}

  template <typename Buffers>
  size_t read_some(const Buffers& buffers, boost::beast::error_code& error) {
    const boost::asio::mutable_buffer first = *boost::asio::buffer_sequence_begin(buffers);
    const size_t got = stream_.Read(static_cast<char*>(first.data()), first.size());
    error = got > 0 ? boost::beast::error_code() : boost::asio::error::eof;
    return got;
  }
  template <typename Buffers>
  size_t read_some(const Buffers& buffers) {
    boost::beast::error_code error;
    const size_t got = read_some(buffers, error);
    if (error) throw boost::beast::system_error(error);
    return got;
  }

  template <typename Buffers>
  size_t write_some(const Buffers& buffers, boost::beast::error_code& error) {
    size_t written = 0;
    for (auto it = boost::asio::buffer_sequence_begin(buffers);
         it != boost::asio::buffer_sequence_end(buffers); ++it) {
      const boost::asio::const_buffer buffer = *it;
      stream_.Write({static_cast<const char*>(buffer.data()), buffer.size()});
      written += buffer.size();
    }
    error = {};
    return written;
  }
  template <typename Buffers>
  size_t write_some(const Buffers& buffers) {
    boost::beast::error_code error;
    return write_some(buffers, error);
  }

 private:
  Stream& stream_;
};

}  // namespace emulator
