// Answers the requests of web clients: one request a connection.
#include "host/web/ht_Responder.h"

#include <httplib.h>

#include <string_view>

#include "host/base/fw_Guarded.h"

namespace services::http {

namespace {

enum Status { Ok = 200, NotFound = 404, WrongMethod = 405, Failed = 500, NotReady = 503 };

// A request and its response as texts, for the library.
class TextStream : public httplib::Stream {
 public:
  explicit TextStream(std::string_view request) : m_left(request) {}
  const std::string& response() const { return m_response; }

  bool is_readable() const override { return true; }
  bool is_writable() const override { return true; }
  ssize_t read(char* data, std::size_t size) override {
    const std::size_t count = m_left.copy(data, size);
    m_left.remove_prefix(count);
    return static_cast<ssize_t>(count);
  }
  ssize_t write(const char* data, std::size_t size) override {
    m_response.append(data, size);
    return static_cast<ssize_t>(size);
  }
  void get_remote_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  void get_local_ip_and_port(std::string& /*ip*/, int& /*port*/) const override {}
  socket_t socket() const override { return -1; }

 private:
  std::string_view m_left;
  std::string m_response;
};

void fill(httplib::Response& response, Status status, const std::string& text) {
  response.status = status;
  response.set_content(text, "text/plain; charset=utf-8");
}

void answerPage(httplib::Response& response, const Responder::Page& page) {
  std::string text;
  if (!framework::guarded("web", "page", [&] { text = page(); })) {
    fill(response, Failed, "the page could not be rendered; the log says why\n");
  } else if (text.empty()) {
    fill(response, NotReady, "the services are not running\n");
  } else {
    fill(response, Ok, text);
  }
}

}  // namespace

// The library's reading of requests and writing of responses, without its sockets and threads.
class Responder::Protocol : public httplib::Server {
 public:
  explicit Protocol(Page page) : m_page(std::move(page)) {
    set_default_headers({{"Cache-Control", "no-store"},
                         {"Content-Security-Policy", "default-src 'none'; frame-ancestors 'none'"},
                         {"Referrer-Policy", "no-referrer"},
                         {"X-Content-Type-Options", "nosniff"},
                         {"X-Frame-Options", "DENY"}});
    set_pre_routing_handler([this](const httplib::Request& request, httplib::Response& response) {
      route(request, response);
      return HandlerResponse::Handled;
    });
  }

  // Ranges are left out: many small ones would multiply the page.
  void converse(httplib::Stream& stream) {
    bool closed = false;
    process_request(stream, true, closed,
                    [](httplib::Request& request) { request.ranges.clear(); });
  }

 private:
  void route(const httplib::Request& request, httplib::Response& response) const {
    if (request.method != "GET" && request.method != "HEAD") {
      response.set_header("Allow", "GET, HEAD");
      fill(response, WrongMethod, "the page can only be read\n");
    } else if (request.path != "/") {
      fill(response, NotFound, "the only page is /\n");
    } else {
      answerPage(response, m_page);
    }
  }

  const Page m_page;
};

// The library makes its tables of methods and texts at its first request: here, before there are
// threads that could meet over them.
Responder::Responder(Page page) : m_protocol(std::make_unique<Protocol>(std::move(page))) {
  answer("GET /none HTTP/1.1\r\nHost: mc\r\n\r\n");
}

Responder::~Responder() = default;

std::string Responder::answer(const std::string& request) const {
  TextStream stream(request);
  m_protocol->converse(stream);
  return stream.response();
}

}  // namespace services::http
