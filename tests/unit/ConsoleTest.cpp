// The console server with real clients, those that misbehave among them.
#include <sys/stat.h>

#include <array>
#include <cstring>
#include <future>

#include "host/base/fw_Container.h"
#include "host/base/st_StringRepository.h"
#include "host/console/fw_ConsoleHold.h"
#include "host/console/fw_HostCommands.h"
#include "host/service/ap_ApplicationService.h"
#include "host/service/fw_LockManager.h"
#include "support/ConsoleSetting.h"

namespace framework {
namespace {

using services::app::ApplicationService;
using test::Peer;

constexpr strings::stringtoken echoPath[] = {strings::token<"output">};
constexpr strings::stringtoken bigPath[] = {strings::token<"stats">};
constexpr strings::stringtoken upPath[] = {strings::token<"interface">, strings::token<"up">};
const CommandHandler::commanddata upData = {"Up", "", "", 2, upPath, "Debug"};
const CommandHandler::commanddata echoData = {"Echo", "", "", 1, echoPath};
const CommandHandler::commanddata bigData = {"Big", "", "", 1, bigPath};
constexpr std::size_t bigSize = 4 << 20;

class ConsoleServing : public test::ConsoleServing {
 protected:
  ConsoleServing() {
    test::addCommand(m_shell, echoData, [](auto& console, const auto& arguments) {
      console.reply(Ok, "%s\n", arguments.ArgValue(0));
      return 1;
    });
    test::addCommand(m_shell, bigData, [](auto& console, const auto&) {
      console.output().PutS(std::string(bigSize, 'x').c_str());
      return 1;
    });
    test::addCommand(m_shell, upData, [](auto&, const auto&) {
      Container::getConsole()->enable();
      return 1;
    });
    registerHoldCommands(m_shell);
    registerRegistryCommands(m_shell);
  }
};

TEST_F(ConsoleServing, AnswersSeveralClientsAtOnce) {
  std::array<std::future<int>, 8> good;
  for (std::size_t client = 0; client < good.size(); ++client) {
    good[client] = std::async(std::launch::async, [this, client] {
      Peer peer(m_path);
      int count = 0;
      for (int i = 0; i < 50; ++i) {
        const std::string text = std::to_string(client) + "/" + std::to_string(i);
        if (peer.ask("output " + text) == "0 " + text + "\n") ++count;
      }
      return count;
    });
  }
  for (auto& count : good) EXPECT_EQ(count.get(), 50);
}

TEST_F(ConsoleServing, LinesThatComeInPiecesOrTogetherAreAnsweredInOrder) {
  Peer peer(m_path);
  peer.send("output a\n\n\nnonsense\nout");
  EXPECT_EQ(peer.reply(), "0 a\n");
  EXPECT_EQ(peer.reply(), "0 ");
  EXPECT_EQ(peer.reply(), "0 ");
  EXPECT_EQ(peer.reply(), "1 unknown command: nonsense; try help\n");
  peer.send("put b\n");
  EXPECT_EQ(peer.reply(), "0 b\n");
}

TEST_F(ConsoleServing, LongLinesAreRefusedAndTheSessionGoesOn) {
  const std::string refusal = "13 a line may have 4096 bytes; this one was skipped\n";
  const struct {
    const char* name;
    std::size_t length;
    bool refused;
  } rows[] = {{"at the limit", 4096, false}, {"one more", 4097, true}, {"long", 1 << 20, true}};
  Peer peer(m_path);
  for (const auto& row : rows) {
    const std::string word(row.length - std::strlen("output "), 'w');
    EXPECT_EQ(peer.ask("output " + word), row.refused ? refusal : "0 " + word + "\n") << row.name;
    EXPECT_EQ(peer.ask("output after"), "0 after\n") << row.name;
  }
}

TEST_F(ConsoleServing, LineWithoutEndIsCutOff) {
  Peer peer(m_path);
  const std::string chunk(65536, 'x');
  while (peer.send(chunk)) continue;  // until the server has closed
  EXPECT_EQ(peer.reply(), "closed");
}

TEST_F(ConsoleServing, HangingClientsDisturbNeitherTheOthersNorTheStop) {
  const auto files = test::countOf("/proc/self/fd");
  Peer silent(m_path);
  Peer half(m_path);
  half.send("output no line e");
  Peer deaf(m_path);
  deaf.send("stats\nstats\n");
  Peer good(m_path);
  EXPECT_EQ(good.ask("stats").size(), bigSize + std::strlen("0 "));
  m_server.stop();  // which waits for no client's send limit
  EXPECT_FALSE(std::filesystem::exists(m_path));
  EXPECT_EQ(good.reply(), "closed");
  EXPECT_EQ(half.reply(), "closed");
  EXPECT_EQ(test::countOf("/proc/self/fd"), files + 4 - 1) << "the peers' ends, no listener";
}

TEST_F(ConsoleServing, ClientThatNeverReadsIsClosed) {
  const std::string path = m_files.path("impatient");
  ConsoleServer server(m_shell, std::chrono::milliseconds(50));
  ASSERT_EQ(server.listen(path), "");
  server.start();
  Peer deaf(path);
  deaf.send("stats\n");
  EXPECT_TRUE(deaf.hungUp());
  Peer good(path);
  EXPECT_EQ(good.ask("output a"), "0 a\n");  // too short a reply to wait for its reader
}

TEST_F(ConsoleServing, TheLongestIdleClientThatHoldsNothingMakesRoom) {
  std::vector<Peer> peers;
  for (std::size_t i = 0; i < ConsoleServer::maxClients; ++i) {
    EXPECT_EQ(peers.emplace_back(m_path).ask("output a"), "0 a\n");
  }
  EXPECT_EQ(peers[0].ask("console hold"), "0 console held\n");
  EXPECT_EQ(peers[1].ask("output b"), "0 b\n");
  Peer another(m_path);
  EXPECT_EQ(another.ask("output c"), "0 c\n");
  EXPECT_EQ(peers[2].reply(),
            "13 this client was idle the longest and made room for another; connect again\n");
  EXPECT_EQ(peers[2].reply(), "closed");
  peers[2] = std::move(another);
  for (auto& peer : peers) EXPECT_EQ(peer.ask("console hold"), "0 console held\n");
  Peer refused(m_path);
  EXPECT_EQ(refused.ask("output d"), "13 too many clients\n");
  EXPECT_EQ(refused.reply(), "closed");
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(peers[0].ask("console release").starts_with("0 "));
  EXPECT_EQ(Peer(m_path).ask("output e"), "0 e\n");
  peers.clear();
  EXPECT_EQ(Peer(m_path).ask("output f"), "0 f\n");
}

TEST_F(ConsoleServing, AClientForWhichThereIsNoThreadIsToldSo) {
  pthread_attr_t before;
  pthread_attr_t huge;
  ASSERT_EQ(::pthread_getattr_default_np(&before), 0);
  ::pthread_attr_init(&huge);
  ::pthread_attr_setstacksize(&huge, std::size_t{1} << 60);
  ASSERT_EQ(::pthread_setattr_default_np(&huge), 0);
  Peer refused(m_path);
  EXPECT_EQ(refused.ask("output a"), "13 the host has no thread left for a client\n");
  EXPECT_EQ(refused.reply(), "closed");
  ::pthread_setattr_default_np(&before);
  EXPECT_EQ(Peer(m_path).ask("output b"), "0 b\n");
}

const char* const disabledText =
    "the console is disabled; the local root enables it by: interface up Debug\n";

TEST_F(ConsoleServing, DisabledConsoleLetsTheLocalRootEnableItAndNothingElse) {
  const bool root = ::geteuid() == 0;
  const std::string refusal = std::string("13 ") + disabledText;
  Peer before(m_path);
  EXPECT_EQ(before.ask("output a"), "0 a\n");
  ASSERT_NE(Container::getConsole(), nullptr);
  EXPECT_TRUE(Container::getConsole()->disable());
  for (const char* line : {"output b", "", "console hold", "interface up Http"}) {
    EXPECT_EQ(before.ask(line), refusal) << line;
  }
  Peer after(m_path);
  EXPECT_EQ(after.ask("output b"), refusal);
  EXPECT_EQ(after.ask("interface up Debug"), root ? "0 " : "closed");
  EXPECT_EQ(Container::getConsole()->isEnabled(), root);
  EXPECT_TRUE(Container::getConsole()->enable());
  EXPECT_EQ(before.ask("output c"), "0 c\n");
}

TEST_F(ConsoleServing, WhatAClientHoldsIsItsProcesssAndGoesWithItsConnection) {
  const auto current = [] { return Container::getConsole()->getCurrentService(); };
  const std::string self = std::to_string(::getpid());
  Peer peer(m_path);
  for (const char* line : {"lock take flash", "portal register sfcbd", "console hold"}) {
    EXPECT_TRUE(peer.ask(line).starts_with("0 ")) << line;
  }
  EXPECT_EQ(Peer(m_path).ask("lock list"), "0 NAME   PID\nflash  " + self + "\n");
  EXPECT_EQ(ApplicationService::LookupPortalPrefix(strings::token<"sfcbd">)->getPID(), ::getpid());
  ASSERT_NE(current(), nullptr);
  EXPECT_EQ(current()->ServiceName(), strings::tGSConsoleHold);
  peer.close();
  EXPECT_TRUE(test::eventually([&] {
    return LockManager::getInstance()->list().empty() &&
           ApplicationService::listPortals().empty() && current() == nullptr;
  }));
}

TEST(ConsoleServer, ServesItsOwnUserAndRoot) {
  const char* foreign = "the console is for the host's own user\n";
  const char* disabled = disabledText;
  const std::string enabling = "interface up Debug";
  const struct {
    const char* name;
    uid_t peer;
    uid_t host;
    bool enabled;
    const char* line;
    const char* refusal;      // of the client
    const char* lineRefusal;  // of its line
  } rows[] = {
      {"own user", 5, 5, true, "services", "", ""},
      {"root", 0, 5, true, "services", "", ""},
      {"other user", 6, 5, true, "services", foreign, foreign},
      {"other of root's", 5, 0, true, "services", foreign, foreign},
      {"own user, disabled", 5, 5, false, "interface up Debug", disabled, disabled},
      {"other user, disabled", 6, 5, false, "interface up Debug", foreign, foreign},
      {"root, disabled", 0, 5, false, "services", "", disabled},
      {"root's own, disabled", 0, 0, false, "services", "", disabled},
      {"enabling", 0, 5, false, "interface up Debug", "", ""},
      {"root's own enabling", 0, 0, false, " interface  up \"Debug\" ", "", ""},
      {"another one", 0, 0, false, "interface up Http", "", disabled},
      {"one word more", 0, 0, false, "interface up Debug Http", "", disabled},
      {"other case", 0, 0, false, "interface up debug", "", disabled},
      {"malformed", 0, 0, false, "interface up \"Debug", "", disabled},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(ConsoleServer::refusalOf(row.peer, row.host, row.enabled, enabling), row.refusal)
        << row.name;
    EXPECT_EQ(ConsoleServer::refusalOf(row.peer, row.host, row.enabled, enabling, row.line),
              row.lineRefusal)
        << row.name;
  }
  EXPECT_EQ(ConsoleServer::refusalOf(0, 0, false, "", ""), "the console is disabled\n");
}

TEST_F(ConsoleServing, SocketIsItsOwnersAlone) {
  m_server.stop();
  const mode_t before = ::umask(0);
  std::filesystem::remove_all(m_files.path("run"));
  std::string error;
  m_lock = lockBeside(
      m_path, [] { return false; }, error);
  EXPECT_EQ(m_server.listen(m_path), "");
  m_server.start();
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat(m_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFSOCK | 0600U);
  ASSERT_EQ(::stat((m_path + ".lock").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFREG | 0600U);
  ASSERT_EQ(::stat(m_files.path("run").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
}

TEST_F(ConsoleServing, PathThatIsTakenIsLeftAlone) {
  m_files.write("file", "content");
  const std::string file = m_files.path("file");
  const std::string tooLong = m_files.path(std::string(108, 'x'));
  ConsoleServer second(m_shell);
  EXPECT_EQ(second.listen(m_path), m_path + ": another host answers there");
  EXPECT_EQ(second.listen(file), file + ": is there and is no socket");
  EXPECT_EQ(second.listen(tooLong), tooLong + ": is no path for a socket (1 to 107 bytes)");
  second.stop();
  EXPECT_EQ(Peer(m_path).ask("output a"), "0 a\n");
  EXPECT_EQ(m_files.read("file"), "content");
}

TEST_F(ConsoleServing, HasOneHostAndAnotherWaitsForAStoppingOnesEnd) {
  std::string error;
  int pauses = 0;
  const auto pause = [&] {
    if (++pauses == 3) m_lock.reset();  // the first host's end
    return true;
  };
  EXPECT_FALSE(lockBeside(m_path, pause, error).isOpen());
  EXPECT_EQ(error, m_path + ": another host answers there");
  EXPECT_EQ(pauses, 0);
  m_server.stop();
  EXPECT_FALSE(lockBeside(
                   m_path, [] { return false; }, error)
                   .isOpen());
  EXPECT_EQ(error, m_path + ".lock: another host holds it and has not ended");
  EXPECT_TRUE(lockBeside(m_path, pause, error).isOpen()) << error;
  EXPECT_EQ(pauses, 3);
}

TEST_F(ConsoleServing, RemovesItsOwnSocketAlone) {
  std::filesystem::remove(m_path);
  ConsoleServer second(m_shell);
  EXPECT_EQ(second.listen(m_path), "");
  m_server.stop();
  EXPECT_TRUE(std::filesystem::exists(m_path));
  second.stop();
  EXPECT_FALSE(std::filesystem::exists(m_path));
}

TEST_F(ConsoleServing, SocketThatNobodyAnswersOnIsReplaced) {
  m_server.stop();
  std::string error;
  EXPECT_TRUE(listenAt(m_path, error).isOpen()) << error;  // closed at once, its file stays
  EXPECT_TRUE(std::filesystem::exists(m_path));
  EXPECT_EQ(m_server.listen(m_path), "");
  m_server.start();
  EXPECT_EQ(Peer(m_path).ask("output a"), "0 a\n");
}

}  // namespace
}  // namespace framework
