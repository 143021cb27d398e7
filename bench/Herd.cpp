// A herd of idle processes around a measurement.
#include "Herd.h"

#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <filesystem>

namespace bench {

namespace {

[[noreturn]] void give_up(const char* what) {
  std::fprintf(stderr, "error: %s\n", what);
  std::exit(EXIT_FAILURE);
}

}  // namespace

Herd::Herd(int size) {
  std::array<int, 2> ends{};
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends.data()) != 0) give_up("no socket");
  const auto program =
      std::filesystem::read_symlink("/proc/self/exe").parent_path() / "mcbench-herd";
  std::array<std::string, 5> words = {"/app/bin/idle-00000", "--config", "/cfg/idle.conf",
                                      "--level", "info"};
  std::array<char*, 6> arguments = {words[0].data(), words[1].data(), words[2].data(),
                                    words[3].data(), words[4].data(), nullptr};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDIN_FILENO);
  posix_spawn_file_actions_adddup2(&actions, ends[1], STDOUT_FILENO);
  if (::posix_spawn(&m_pid, program.c_str(), &actions, nullptr, arguments.data(), environ) != 0) {
    give_up("mcbench-herd cannot be run");
  }
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[1]);
  m_stream = ::fdopen(ends[0], "r+");
  replace(size);
}

Herd::~Herd() {
  std::fclose(m_stream);
  ::waitpid(m_pid, nullptr, 0);
}

void Herd::replace(int count) {
  std::array<char, 16> answer{};
  std::fprintf(m_stream, "%d\n", count);
  std::fflush(m_stream);
  if (std::fgets(answer.data(), answer.size(), m_stream) == nullptr ||
      std::string(answer.data()) != "ok\n") {
    give_up("this machine does not allow so many processes");
  }
}

}  // namespace bench
