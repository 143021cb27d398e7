// The process of one host: the real services on a machine whose time the test gives.
#include "histories/HostProcess.h"

#include <semaphore>

#include "app/pairing/app_PartnerFirmwareUpdate.h"
#include "app/paths/app_NetTracker.h"
#include "host/base/st_StringRepository.h"
#include "host/log/fw_Logger.h"
#include "host/machine/Platform.h"
#include "host/network/nw_NetworkManager.h"
#include "host/service/fw_Config.h"
#include "peer/pl_PartnerLink.h"
#include "sysinfo/manager/si_SysInfoManager.h"
#include "sysinfo/record/ri_RelInfo.h"
#include "sysinfo/record/si_Field.h"

namespace {

long syncsLeft =
    -1;  // until the process dies, as at a power cut between two writes; below 0: never

int synchronise() {
  if (syncsLeft >= 0 && syncsLeft-- == 0) ::_exit(9);
  return 0;  // the disk is the caller's memory
}

}  // namespace

// In place of the C library's, for this program and the libraries that it loads.
extern "C" int fsync(int) { return synchronise(); }
extern "C" int fdatasync(int) { return synchronise(); }

namespace test {

namespace {

using services::app::BurnToActive;
using services::app::PartnerFirmwareUpdate;
using services::peer::Answer;
using services::peer::PartnerLink;
using services::sysinfo::SysInfoManager;
using services::sysinfo::SysInfoWriteGuard;

constexpr char separator = '\x1f';

Texts split(const std::string& text, char at) {
  Texts parts;
  std::istringstream stream(text);
  for (std::string part; std::getline(stream, part, at);) parts.push_back(part);
  return parts;
}

std::string joined(const Texts& parts) {
  std::string text;
  for (const std::string& part : parts) text += part + separator;
  return text;
}

class Link : public PartnerLink {
 public:
  explicit Link(std::function<std::string()> ask) : PartnerLink("PartnerLink"), m_ask(ask) {}
  std::optional<std::string> exchange(std::string& failure) override {
    std::string answer = m_ask();
    failure = "no answer";
    return answer.empty() ? std::nullopt : std::optional(answer);
  }
  using PartnerLink::consent;
  using PartnerLink::cycle;
  using PartnerLink::forget;
  using PartnerLink::pause;

 private:
  const std::function<std::string()> m_ask;
};

// The machine, and what is done on it at the test's word.
class Host : public platform::Platform {
 public:
  Host(int line, std::string root, std::int64_t now)
      : m_line(line), m_root(std::move(root)), m_now(now) {
    Platform::install(this);
  }

  void live(char letter, const Texts& configuration, const Texts& loaded) {
    framework::Config config;
    for (const std::string& entry : configuration) setIn(config, entry);
    services::relinfo::RelInfo::setBurnToActive(!m_isUndecided);
    framework::Config::setConfig(config);
    if (!SysInfoManager::getManager()->open(config, letter)) ::_exit(1);
    if (!loaded.empty()) set(loaded);
    PartnerFirmwareUpdate update("PartnerFirmwareUpdate");
    Link link([this] { return askPartner(); });
    m_link = &link;
    link.forget();
    services::app::NetTracker tracker("NetTracker");
    m_tracker = std::thread([this, &tracker] {
      m_trackersTurn.acquire();
      tracker.threadDo(0);
    });
    letTrackerLive();
    update.threadDo(0);
  }

  std::int64_t now() override { return m_now; }
  std::int64_t wallOffset() override { return m_wallOffset; }
  const char* locate(const char* path, char* buffer, std::size_t size) override {
    std::snprintf(buffer, size, "%s%s", m_root.c_str(), path);
    return buffer;
  }
  void delay(std::int64_t) override {}
  void finishCommands() override {}
  void abortCommands() override {}
  int queueSignal(int, int, int) override { return 0; }
  std::unique_ptr<utility::ExitWatch> watchExits(std::function<void()>) override { return nullptr; }
  platform::Result run(const platform::Command& command) override {
    const std::string line = command.line;
    if (line.starts_with("ping")) return {.status = m_wholePaths.contains(line.substr(16)) ? 0 : 1};
    m_commands.emplace_back(command.line);
    return {};
  }

  // The tracker's thread and the other take turns.
  void wait(utility::WaitPoint& point, std::int64_t microseconds) override {
    if (std::this_thread::get_id() == m_tracker.get_id()) {
      m_trackerAt = m_now + microseconds;
      point.mutex.unlock();
      m_othersTurn.release();
      m_trackersTurn.acquire();
      point.mutex.lock();
      return;
    }
    m_updateAt = m_now + microseconds;
    while (!point.signalled && m_now < m_updateAt) {
      point.mutex.unlock();
      serve(false);
      point.mutex.lock();
    }
    point.signalled = false;
  }

 private:
  void letTrackerLive() {
    m_trackersTurn.release();
    m_othersTurn.acquire();
  }

  static std::string path() {
    std::array<char, 32> address{};
    services::network::NetworkManager::getHosts(address.data(), address.size(), "othermc");
    return std::string(address.data()) == "10.9.9.1" ? "outer" : "inner";
  }

  void setIn(framework::Config& config, const std::string& entry) {
    const std::string key = entry.substr(0, entry.find('='));
    const std::string value = entry.substr(entry.find('=') + 1);
    if (entry == "undecided=true") m_isUndecided = true;
    if (value == "true" || value == "false") {
      config.set(key, {.value = value == "true"});
    } else if (key.ends_with("Seconds")) {
      config.set(key, {.value = std::stol(value)});
    } else {
      config.set(key, {.value = value});
    }
  }

  // Values into the store, in one change.
  static std::string set(const Texts& entries) {
    SysInfoWriteGuard guard;
    auto* sysInfo = guard.getObject();
    for (const std::string& entry : entries) {
      const std::string key = entry.substr(0, entry.find('='));
      const std::string value = entry.substr(entry.find('=') + 1);
      if (const auto* field = findField(services::sysinfo::settingFields(), key)) {
        field->set(*sysInfo, value.c_str());
      } else if (const auto* own = findField(services::sysinfo::controllerFields(), key)) {
        own->set(*sysInfo->getMyMCInfo(), value.c_str());
      }
    }
    return guard.freeObject() ? "stored" : "not stored";
  }

  std::string askPartner() {
    m_partnersAnswer.reset();
    while (!m_partnersAnswer) serve(true);
    return *m_partnersAnswer;
  }

  // Says how it stands, hears one thing and does it.
  void serve(bool isAsking) {
    const auto consent = m_link->consent();
    services::peer::PeerRecord told;
    consent.tell(told);
    const Texts state = {isAsking ? "asking" : "",
                         std::to_string(m_updateAt),
                         std::to_string(m_trackerAt),
                         path(),
                         std::to_string(m_link->pause() * 1000000LL),
                         told.ask.id,
                         consent.holdsTicket() ? "holds" : "",
                         consent.granted(m_now),
                         joined(std::exchange(m_commands, {})).c_str()};
    std::string text;
    for (const std::string& value : state) text += value + '\x1e';
    text += joined(std::exchange(m_answer, {}));
    if (::send(m_line, text.data(), text.size(), MSG_NOSIGNAL) < 0) ::_exit(0);
    std::array<char, 20000> heard;
    const ssize_t size = ::recv(m_line, heard.data(), heard.size(), 0);
    if (size <= 0) ::_exit(0);
    obey(std::string(heard.data(), static_cast<std::size_t>(size)));
  }

  // "TIME WHAT..."
  void obey(const std::string& told) {
    std::istringstream words(told);
    std::string what, one, two, three;
    words >> m_now >> what;
    if (what == "reply") {
      m_partnersAnswer = told.substr(told.find("reply") + 6);
      return;
    }
    words >> one >> two >> three;
    if (what == "link") m_link->cycle();
    if (what == "answer") m_answer = {textOf(m_link->view().own.record)};
    if (what == "ask") m_answer = wordsOf(m_link->ask(clientOf(one), two));
    if (what == "check") m_answer = wordsOf(m_link->check(one, two));
    if (what == "seal") m_answer = wordsOf(m_link->seal(clientOf(one), two, three));
    if (what == "end") m_link->end(clientOf(one));
    if (what == "paths") {
      m_wholePaths = {one, two};
      letTrackerLive();
    }
    if (what == "clock") m_wallOffset = std::stol(one) * 1000000;
    if (what == "set") m_answer = {set({one})};
    if (what == "kick") PartnerFirmwareUpdate::getSingleton()->kickstart();
    if (what == "die-after") syncsLeft = std::stol(one);
    if (what == "view") m_answer = viewOf();
    if (what == "history") m_answer = m_link->history();
  }

  static services::peer::Consent::Client clientOf(const std::string& number) {
    return reinterpret_cast<services::peer::Consent::Client>(std::stoul(number));
  }

  static Texts wordsOf(const Answer& answer) {
    constexpr const char* kinds[] = {"wait", "yes", "unguarded", "no"};
    return {kinds[static_cast<int>(answer.kind)], answer.words};
  }

  // Equal and paired on both sides, the stall, its remedy.
  Texts viewOf() const {
    const auto view = m_link->view();
    const auto stall = stallOf(view);
    const bool isSettled = view.partner && view.isDecided && areEqual(view.own, *view.partner) &&
                           areConfirmed(view.own, *view.partner);
    const auto word = [](auto token) {
      return std::string(strings::StringRepository::toString(token));
    };
    return {isSettled ? "settled" : "open", stall ? stall->what : "", stall ? stall->remedy : "",
            word(view.own.record.role) + " " + word(view.own.record.partnerRole) + " " +
                word(view.decisions.configSyncAction) + " " + word(view.decisions.pfuSyncAction)};
  }

  const int m_line;
  const std::string m_root;
  std::int64_t m_now;
  std::int64_t m_wallOffset = 0;
  std::int64_t m_updateAt = 0;
  std::int64_t m_trackerAt = 0;
  std::set<std::string> m_wholePaths;
  std::binary_semaphore m_trackersTurn{0};
  std::binary_semaphore m_othersTurn{0};
  std::thread m_tracker;
  bool m_isUndecided = false;
  Texts m_commands;
  Texts m_answer;
  std::optional<std::string> m_partnersAnswer;
  Link* m_link = nullptr;
};

}  // namespace

HostProcess::HostProcess(std::string root, char letter, Texts configuration, Texts loaded,
                         std::int64_t now, std::int64_t beginning)
    : m_beginning(beginning) {
  int ends[2] = {-1, -1};
  if (::socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) std::abort();
  m_pid = ::fork();
  if (m_pid == 0) {
    ::close(ends[0]);
    framework::Logger::setLevel(framework::LogType::Error);
    Host(ends[1], std::move(root), now + m_beginning).live(letter, configuration, loaded);
    ::_exit(0);
  }
  ::close(ends[1]);
  m_line = ends[0];
  hear();
}

HostProcess::~HostProcess() {
  ::kill(m_pid, SIGKILL);
  ::waitpid(m_pid, nullptr, 0);
  ::close(m_line);
}

bool HostProcess::tell(std::int64_t now, const std::string& what) {
  const std::string text = std::to_string(now + m_beginning) + " " + what;
  return ::send(m_line, text.data(), text.size(), MSG_NOSIGNAL) >= 0 && hear();
}

bool HostProcess::hear() {
  std::array<char, 60000> heard;
  const ssize_t size = ::recv(m_line, heard.data(), heard.size(), 0);
  if (size <= 0) return false;
  Texts parts = split(std::string(heard.data(), static_cast<std::size_t>(size)), '\x1e');
  parts.resize(10);
  m_state = {.answer = split(parts[9], separator),
             .isAsking = !parts[0].empty(),
             .updateAt = std::stoll(parts[1]) - m_beginning,
             .trackerAt = std::stoll(parts[2]) - m_beginning,
             .path = parts[3],
             .linkPause = std::stoll(parts[4]),
             .asks = parts[5],
             .holds = !parts[6].empty(),
             .granted = parts[7],
             .commands = split(parts[8], separator)};
  return true;
}

}  // namespace test
