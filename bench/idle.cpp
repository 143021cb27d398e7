// A herd of idle processes: reads their number from standard input, and then numbers of processes
// to replace by new ones; answers each with a line, "ok" or "failed". Its end ends the herd.
//
// The members are forks of one small process that has written their command lines into its own.
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>
#include <utility>
#include <vector>

namespace {

// The first word, "/app/bin/idle-00000", which has room for five digits at its end.
void setNumber(char* word, unsigned int number) {
  char* const digits = word + 14;
  for (int i = 4; i >= 0; --i, number /= 10) digits[i] = static_cast<char>('0' + number % 10);
}

pid_t member(char* word, unsigned int number) {
  setNumber(word, number);
  const pid_t child = ::fork();
  if (child != 0) return child;
  ::prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (;;) ::pause();
}

// Ends members; none is waited for before all are told to. A place that is free holds 0.
void endAll(const std::vector<pid_t>& pids) {
  for (const pid_t pid : pids) {
    if (pid > 0) ::kill(pid, SIGKILL);
  }
  for (const pid_t pid : pids) {
    if (pid > 0) ::waitpid(pid, nullptr, 0);
  }
}

// The members, each in the place that its number gives it.
class Herd {
 public:
  explicit Herd(char* word) : m_word(word) {}
  ~Herd() { endAll(m_members); }
  Herd(const Herd&) = delete;
  Herd& operator=(const Herd&) = delete;

  // Ends those of the next places, and starts new ones there; true when all could be started.
  bool replace(unsigned int count) {
    if (m_members.empty()) m_members.resize(count);
    std::vector<pid_t> old;
    for (unsigned int i = 0; i < count; ++i) {
      old.push_back(std::exchange(m_members[(m_next + i) % m_members.size()], 0));
    }
    endAll(old);
    for (unsigned int i = 0; i < count; ++i) {
      const pid_t pid = member(m_word, static_cast<unsigned int>(m_next));
      if (pid < 0) return false;
      m_members[m_next] = pid;
      m_next = (m_next + 1) % m_members.size();
    }
    setNumber(m_word, 99999);
    return true;
  }

 private:
  char* m_word;
  std::vector<pid_t> m_members;
  std::size_t m_next = 0;
};

}  // namespace

int main(int /*count*/, char** words) {
  Herd herd(words[0]);
  unsigned int number = 0;
  while (std::scanf("%u", &number) == 1) {
    std::puts(herd.replace(number) ? "ok" : "failed");
    std::fflush(stdout);
  }
  return 0;
}
