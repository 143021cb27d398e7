// Reads requests from the bytes of a connection (RFC 9112).
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "host/web/ht_Message.h"

namespace services::http {

/// A request as it came.
struct Asked {
  Request request = {};
  int fault = 0;        ///< the status that refuses what is no request, or too large a one
  bool isHead = false;  ///< HEAD, which `request` has as GET
  bool isLast = true;   ///< the client sends no more, or what follows cannot be read
};

/// One request after another: 8 KiB before the body at most, and bodies of at most as many bytes as
/// are given; without any, bodies are left unread and each request is the last.
class RequestParser {
 public:
  explicit RequestParser(std::size_t largestBody);
  ~RequestParser();
  RequestParser(const RequestParser&) = delete;
  RequestParser& operator=(const RequestParser&) = delete;

  /// Takes bytes of the connection; those behind a whole request wait for the next.
  void put(std::string_view bytes);
  /// No more bytes come.
  void end();

  /// Whether a byte of the next request has come.
  bool isBegun() const;
  /// Whether a request is whole, or at fault.
  bool isWhole() const { return m_whole; }
  /// Whether the client waits to be told to send the body ("100 Continue"); answers once.
  bool takeExpectation();

  /// The whole request. Then the next is read, from the bytes that are there first.
  Asked take();

 private:
  class Beast;

  void read();

  const std::size_t m_largestBody;
  std::unique_ptr<Beast> m_parser;
  std::string m_bytes;  // not read yet
  bool m_whole = false;
  int m_fault = 0;
};

}  // namespace services::http
