#pragma once

#include <boost/beast/core/flat_buffer.hpp>
#include <boost/beast/http/buffer_body.hpp>
#include <boost/beast/http/parser.hpp>
#include <cstddef>

#include "emulator/beast_stream.h"
#include "emulator/message.h"
#include "emulator/stream.h"

namespace emulator {

// One request as it comes from a client: first its header, then as much of its body as is asked
// for. A client that waits for 100 Continue gets it when the body is first asked for.
class HttpRequest : public BodySource {
 public:
  // `buffer` holds what has been read of the stream beyond the request before.
  HttpRequest(Stream& stream, boost::beast::flat_buffer& buffer);

  // Waits for the header. Returns false when the client ends the connection instead. Throws 400
  // bad_request for what is not HTTP.
  bool ReadHeader();

  // What is known of the request: its header now, and how much of the body has come.
  Incoming& incoming() { return incoming_; }
  size_t Read(char* data, size_t size) override;

  // Whether the client still waits for leave to send the body.
  bool awaits_leave() const { return awaits_leave_; }
  // Reads the rest of the body, unless the client waits for leave to send it.
  void Drain();
  // Whether the client wants to keep the connection for its next request.
  bool keep_alive() const { return parser_.keep_alive(); }

 private:
  void NoteHeader();
  void GiveLeave();

  Stream& stream_;
  BeastStream sync_;
  boost::beast::flat_buffer& buffer_;
  boost::beast::http::request_parser<boost::beast::http::buffer_body> parser_;
  Incoming incoming_;
  bool awaits_leave_ = false;
};

}  // namespace emulator
