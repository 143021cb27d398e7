// Reads requests from the bytes of a connection.
#include "host/web/ht_RequestParser.h"

#include <boost/asio/buffer.hpp>
#include <boost/beast/http/parser.hpp>
#include <boost/beast/http/rfc7230.hpp>
#include <boost/beast/http/string_body.hpp>
#include <boost/url/src.hpp>  // the library's own code, in this file alone
#include <boost/url/url_view.hpp>

#include <algorithm>
#include <utility>

namespace services::http {

namespace {

namespace beast = boost::beast::http;

constexpr std::uint32_t largestHead = 8192;
// A chunked body ends with no less, and Beast asserts that of what it has asked more for.
constexpr std::string_view shortestEnd = "0\r\n\r\n";

enum Fault { Bad = 400, BodyTooLarge = 413, HeadTooLarge = 431 };

std::string inSmallLetters(boost::string_view text) {
  std::string small(text.begin(), text.end());
  std::ranges::transform(small, small.begin(), [](unsigned char c) {
    return static_cast<char>(c >= 'A' && c <= 'Z' ? c - 'A' + 'a' : c);
  });
  return small;
}

int faultOf(const boost::system::error_code& error) {
  if (error == beast::error::header_limit) return HeadTooLarge;
  return error == beast::error::body_limit ? BodyTooLarge : Bad;
}

// Splits what is asked for. A zero byte, which nothing of ours contains, is at fault.
bool takeTarget(boost::string_view target, Request& request) {
  const auto url = boost::urls::parse_origin_form({target.data(), target.size()});
  if (!url) return false;
  request.target.assign(target.data(), target.size());
  const auto path = url->encoded_path().decode();
  request.path.assign(path.data(), path.size());
  for (const auto& parameter : url->params()) {
    request.query.emplace(std::string(parameter.key), std::string(parameter.value));
  }
  return request.path.find('\0') == std::string::npos;
}

}  // namespace

class RequestParser::Beast : public beast::request_parser<beast::string_body> {
 public:
  Beast(std::size_t largestBody) {
    header_limit(largestHead);
    body_limit(largestBody);
    eager(largestBody > 0);
    skip(largestBody == 0);
  }
  bool canGoOn(const std::string& bytes) const {
    return !bytes.empty() && !is_done() &&
           !(is_header_done() && chunked() && bytes.size() < shortestEnd.size());
  }
  bool expects = true;  // may still be told to go on
};

RequestParser::RequestParser(std::size_t largestBody)
    : m_largestBody(largestBody), m_parser(std::make_unique<Beast>(largestBody)) {}

RequestParser::~RequestParser() = default;

void RequestParser::put(std::string_view bytes) {
  m_bytes += bytes;
  if (!m_whole) read();
}

void RequestParser::end() {
  m_fault = m_whole ? m_fault : Bad;
  m_whole = true;
}

bool RequestParser::isBegun() const { return m_parser->got_some() || !m_bytes.empty(); }

bool RequestParser::takeExpectation() {
  if (!m_parser->is_header_done() || m_whole || !m_parser->expects) return false;
  m_parser->expects = false;
  return boost::beast::iequals(m_parser->get()[beast::field::expect], "100-continue");
}

void RequestParser::read() {
  boost::system::error_code error;
  while (m_parser->canGoOn(m_bytes)) {
    const auto count = m_parser->put(boost::asio::buffer(m_bytes), error);
    m_bytes.erase(0, count);
    if (error) break;
  }
  if (error && error != beast::error::need_more) m_fault = faultOf(error);
  m_whole = m_fault != 0 || m_parser->is_done();
}

Asked RequestParser::take() {
  Asked asked;
  asked.fault = m_fault;
  auto& message = m_parser->get();
  if (asked.fault == 0) {
    Request& request = asked.request;
    const auto method = message.method_string();
    request.method.assign(method.data(), method.size());
    asked.isHead = request.method == "HEAD";
    if (asked.isHead) request.method = "GET";
    for (const auto& field : message) {
      const auto value = field.value();
      request.headers.emplace(inSmallLetters(field.name_string()),
                              std::string(value.data(), value.size()));
    }
    if (!takeTarget(message.target(), request)) asked.fault = Bad;
    request.body = std::move(message.body());
    asked.isLast = asked.fault != 0 || m_largestBody == 0 || !message.keep_alive();
  }
  m_parser = std::make_unique<Beast>(m_largestBody);
  m_whole = false;
  m_fault = 0;
  if (!m_bytes.empty()) read();
  return asked;
}

}  // namespace services::http
