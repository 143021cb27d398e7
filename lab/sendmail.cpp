// sendmail for the bench: reads a mail from standard input and hands it to a relay by SMTP.
//
//   sendmail -S HOST[:PORT] [-a FILE]... -t
//
// The recipients are those of the mail's To line. With -a the mail becomes a multipart one (RFC
// 2046) that carries the files, in base64. Everything the relay does must happen within 10 seconds.
#include <arpa/inet.h>
#include <netdb.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iostream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr unsigned int relaySeconds = 10;

struct Mail {
  std::vector<std::string> headers;
  std::string body;
};

struct Options {
  std::string host;
  std::string port = "25";
  std::vector<std::string> attachments;
};

std::string readAll(std::istream& in) { return {std::istreambuf_iterator<char>(in), {}}; }

Mail parse(std::istream& in) {
  Mail mail;
  std::string line;
  while (std::getline(in, line) && !line.empty()) mail.headers.push_back(line);
  mail.body = readAll(in);
  return mail;
}

// The value of the first header of that name, without regard to case; empty when there is none.
std::string header(const Mail& mail, const std::string& name) {
  for (const std::string& line : mail.headers) {
    if (line.size() <= name.size() || line[name.size()] != ':') continue;
    bool same = true;
    for (std::size_t i = 0; i < name.size(); ++i) {
      same = same && std::tolower(line[i]) == std::tolower(name[i]);
    }
    const std::size_t value = line.find_first_not_of(' ', name.size() + 1);
    if (same && value != std::string::npos) return line.substr(value);
  }
  return "";
}

// Base64 in lines of 76 characters (RFC 2045).
std::string base64(const std::string& data) {
  constexpr const char* digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t i = 0; i < data.size(); i += 3) {
    unsigned int group = 0;
    for (std::size_t k = 0; k < 3; ++k) {
      group = group << 8 | (i + k < data.size() ? static_cast<unsigned char>(data[i + k]) : 0U);
    }
    for (std::size_t k = 0; k < 4; ++k) {
      text += i + k > data.size() ? '=' : digits[group >> (18 - 6 * k) & 63];
    }
    if (text.size() % 78 == 76) text += "\r\n";
  }
  return text + "\r\n";
}

// The text as a part: as it is when it is plain, in base64 otherwise.
std::string textPart(const std::string& text) {
  std::string plain;
  std::size_t column = 0;
  bool simple = true;
  for (const char c : text) {
    column = c == '\n' ? 0 : column + 1;
    simple =
        simple && c != '\r' && static_cast<unsigned char>(c) < 128 && c != '\0' && column < 900;
    plain += c == '\n' ? "\r\n" : std::string(1, c);
  }
  const std::string type = "Content-Type: text/plain; charset=utf-8\r\nContent-Transfer-Encoding: ";
  return simple ? type + "7bit\r\n\r\n" + plain : type + "base64\r\n\r\n" + base64(text);
}

std::string attachmentPart(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  const std::string name = path.substr(path.rfind('/') + 1);
  return "Content-Type: application/octet-stream\r\nContent-Disposition: attachment; filename=\"" +
         name + "\"\r\nContent-Transfer-Encoding: base64\r\n\r\n" + base64(readAll(file));
}

std::string dateText() {
  std::array<char, 64> text{};
  const std::time_t now = std::time(nullptr);
  std::tm parts{};
  ::gmtime_r(&now, &parts);
  std::strftime(text.data(), text.size(), "%a, %d %b %Y %H:%M:%S +0000", &parts);
  return text.data();
}

std::string compose(const Mail& mail, const std::vector<std::string>& attachments) {
  std::string text;
  for (const std::string& line : mail.headers) text += line + "\r\n";
  text += "Date: " + dateText() + "\r\nMIME-Version: 1.0\r\n";
  if (attachments.empty()) return text + textPart(mail.body);
  const std::string boundary =
      "=_part_" + std::to_string(::getpid()) + "_" + dateText().substr(17, 2);
  text += "Content-Type: multipart/mixed; boundary=\"" + boundary + "\"\r\n\r\n";
  text += "--" + boundary + "\r\n" + textPart(mail.body);
  for (const std::string& path : attachments) {
    text += "\r\n--" + boundary + "\r\n" + attachmentPart(path);
  }
  return text + "\r\n--" + boundary + "--\r\n";
}

// A dialogue with the relay (RFC 5321).
class Relay {
 public:
  Relay(const std::string& host, const std::string& port) {
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (::getaddrinfo(host.c_str(), port.c_str(), &hints, &found) != 0) fail("no such relay");
    m_socket = ::socket(found->ai_family, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const int connected = ::connect(m_socket, found->ai_addr, found->ai_addrlen);
    ::freeaddrinfo(found);
    if (connected != 0) fail("the relay refuses");
    expect("220");
  }
  ~Relay() { ::close(m_socket); }
  Relay(const Relay&) = delete;
  Relay& operator=(const Relay&) = delete;

  void say(const std::string& line, const std::string& code) {
    send(line + "\r\n");
    expect(code);
  }

  // Sends the mail, a dot that begins a line doubled.
  void sendText(const std::string& text) {
    std::string stuffed;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (text[i] == '.' && (i == 0 || text[i - 1] == '\n')) stuffed += '.';
      stuffed += text[i];
    }
    send(stuffed + (text.ends_with("\r\n") ? "" : "\r\n"));
    say(".", "250");
  }

 private:
  [[noreturn]] static void fail(const std::string& why) { throw std::runtime_error(why); }

  void send(const std::string& text) const {
    std::size_t sent = 0;
    while (sent < text.size()) {
      const ssize_t size = ::send(m_socket, text.data() + sent, text.size() - sent, MSG_NOSIGNAL);
      if (size <= 0) fail("the relay takes no more");
      sent += static_cast<std::size_t>(size);
    }
  }

  // Reads a reply, of which all lines but the last have a hyphen behind the code.
  void expect(const std::string& code) {
    std::string line;
    do {
      line = readLine();
      if (!line.starts_with(code)) fail("the relay answers: " + line);
    } while (line.size() > 3 && line[3] == '-');
  }

  std::string readLine() {
    std::string line;
    char c = 0;
    while (::recv(m_socket, &c, 1, 0) == 1) {
      if (c == '\n') return line;
      if (c != '\r') line += c;
    }
    fail("the relay does not answer");
  }

  int m_socket = -1;
};

Options parseOptions(int count, char** values) {
  Options options;
  bool fromHeaders = false;
  for (int option = 0; (option = ::getopt(count, values, "S:a:t")) != -1;) {
    if (option == 'S') options.host = optarg;
    if (option == 'a') options.attachments.emplace_back(optarg);
    if (option == 't') fromHeaders = true;
    if (option == '?') std::exit(EXIT_FAILURE);
  }
  if (options.host.empty() || !fromHeaders) {
    throw std::runtime_error("usage: sendmail -S HOST[:PORT] [-a FILE]... -t");
  }
  const std::size_t colon = options.host.find(':');
  if (colon != std::string::npos) {
    options.port = options.host.substr(colon + 1);
    options.host.resize(colon);
  }
  return options;
}

void sendMail(const Options& options, const Mail& mail) {
  const std::string text = compose(mail, options.attachments);
  ::alarm(relaySeconds);  // its signal ends the program
  Relay relay(options.host, options.port);
  relay.say("EHLO localhost", "250");
  relay.say("MAIL FROM:<" + header(mail, "from") + ">", "250");
  std::istringstream recipients(header(mail, "to"));
  for (std::string recipient; std::getline(recipients >> std::ws, recipient, ',');) {
    relay.say("RCPT TO:<" + recipient + ">", "250");
  }
  relay.say("DATA", "354");
  relay.sendText(text);
  relay.say("QUIT", "221");
}

}  // namespace

int main(int count, char** values) {
  try {
    const Options options = parseOptions(count, values);
    sendMail(options, parse(std::cin));
    return EXIT_SUCCESS;
  } catch (const std::exception& failure) {
    std::cerr << "sendmail: " << failure.what() << "\n";
    return EXIT_FAILURE;
  }
}
