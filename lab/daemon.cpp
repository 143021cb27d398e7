// A small daemon for the bench: answers each connection to its loopback port with one line.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdio>
#include <exception>
#include <string>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

struct Options {
  std::uint16_t port = 0;
  bool stubborn = false;
  int exitAfterSeconds = 0;
  std::size_t hogKb = 0;
};

/// The listening socket, or -1 with errno set. It lives as long as the process.
int listenOnLoopback(std::uint16_t port) {
  const int listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (listener < 0) return -1;
  const int on = 1;
  setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  if (bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) return -1;
  return listen(listener, SOMAXCONN) == 0 ? listener : -1;
}

void answer(int listener, const std::string& name, Clock::time_point start) {
  const int client = accept4(listener, nullptr, nullptr, SOCK_CLOEXEC);
  if (client < 0) return;
  const auto uptime = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - start);
  const std::string line =
      name + " " + std::to_string(getpid()) + " " + std::to_string(uptime.count()) + " s\n";
  send(client, line.data(), line.size(), MSG_NOSIGNAL);
  close(client);
}

void serve(int listener, const std::string& name, int exitAfterSeconds) {
  const Clock::time_point start = Clock::now();
  const Clock::time_point end = start + std::chrono::seconds(exitAfterSeconds);
  while (exitAfterSeconds == 0 || Clock::now() < end) {
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
    pollfd ready{listener, POLLIN, 0};
    const int timeout = exitAfterSeconds == 0 ? -1 : static_cast<int>(left);
    if (poll(&ready, 1, timeout) > 0) answer(listener, name, start);
  }
}

int run(int argc, char** argv) {
  Options options;
  CLI::App app("Answers each connection to a loopback port with its name, pid and uptime");
  app.add_option("--port", options.port, "TCP port on 127.0.0.1")->required();
  app.add_flag("--stubborn", options.stubborn, "ignore SIGTERM");
  app.add_option("--exit-after", options.exitAfterSeconds, "end after this many seconds");
  app.add_option("--hog-kb", options.hogKb, "keep this much memory in use, in KB");
  CLI11_PARSE(app, argc, argv);

  if (options.stubborn) std::signal(SIGTERM, SIG_IGN);
  const std::vector<char> hog(options.hogKb * 1024, 'x');
  const int listener = listenOnLoopback(options.port);
  if (listener < 0) {
    std::perror(argv[0]);
    return 1;
  }
  const std::string path = argv[0];
  serve(listener, path.substr(path.rfind('/') + 1), options.exitAfterSeconds);
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return run(argc, argv);
  } catch (const std::exception& failure) {
    std::fprintf(stderr, "%s: %s\n", argv[0], failure.what());
    return 1;
  }
}
