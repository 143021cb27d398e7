// The console server with real clients, those that misbehave among them.

#include "host/base/fw_Container.h"
#include "host/console/fw_ConsoleHold.h"
#include "host/console/fw_HostCommands.h"
#include "support/ConsoleSetting.h"

namespace framework {
namespace {

using test::Peer;

const auto upData = commandOf<"interface", "up">("Up", "", "", "Debug");
const auto echoData = commandOf<"output">("Echo", "", "");
const auto bigData = commandOf<"stats">("Big", "", "");
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

// Several clients at once, each with lines that come in pieces or together.
TEST_F(ConsoleServing, LinesAreAnsweredInOrderOrRefusedForTheirLength) {
  const auto play = [this](unsigned int seed) {
    std::minstd_rand random(seed);
    std::string lines;
    std::vector<std::string> replies;
    for (const std::size_t most = 30 + 5 * seed; replies.size() < 100;) {
      const std::size_t lengths[] = {0, 1, most, 4096 - 7, 4097 - 7, 70000};
      const std::string word(lengths[random() % std::size(lengths)], char('a' + random() % 26));
      lines += word.empty() ? "\n" : "output " + word + "\n";
      replies.push_back(word.size() <= 4096 - 7
                            ? "0 " + word + (word.empty() ? "" : "\n")
                            : "13 a line may have 4096 bytes; this one was skipped\n");
    }
    Peer peer(m_path);
    const auto sender = std::async(std::launch::async, [&] {
      for (std::size_t at = 0, size = 0; at < lines.size(); at += size) {
        size = 1 + random() % (random() % 2 == 0 ? 20 : 9000);
        peer.send(lines.substr(at, size));
      }
    });
    for (const std::string& reply : replies) EXPECT_EQ(peer.reply(), reply);
    if (seed % 2 == 0) return;
    while (peer.send(std::string(65536, 'x'))) continue;  // no line's end: cut off
    EXPECT_EQ(peer.reply(), "closed");
  };
  std::array<std::jthread, 8> clients;
  for (unsigned int i = 0; i < 8; ++i) clients[i] = std::jthread(play, i + 1);
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
  ::pthread_attr_setstacksize(&huge, SIZE_MAX / 4 * 3);
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
  Peer before(m_path);
  EXPECT_EQ(before.ask("output a"), "0 a\n");
  EXPECT_TRUE(Container::getConsole()->disable());
  EXPECT_EQ(before.ask("output b"), std::string("13 ") + disabledText);
  EXPECT_EQ(Peer(m_path).ask("interface up Debug"), root ? "0 " : "closed");
  EXPECT_EQ(Container::getConsole()->isEnabled(), root);
}

TEST_F(ConsoleServing, WhatAClientHoldsIsItsProcesssAndGoesWithItsConnection) {
  Peer peer(m_path);
  for (const char* line : {"lock take flash", "portal register sfcbd", "console hold"}) {
    EXPECT_TRUE(peer.ask(line).starts_with("0 ")) << line;
  }
  const auto rest = [this] {
    const auto* service = Container::getConsole()->getCurrentService();
    return test::ask(m_shell, "lock list") + test::ask(m_shell, "portal list") +
           strings::StringRepository::toString(service == nullptr ? 0 : service->ServiceName());
  };
  const std::string self = std::to_string(::getpid());
  EXPECT_EQ(rest(), "0 NAME   PID\nflash  " + self + "\n0 NAME   PID\nsfcbd  " + self + "\n" +
                        strings::StringRepository::toString(strings::tGSConsoleHold));
  peer.close();
  EXPECT_TRUE(test::eventually([&] { return rest() == "0 NAME  PID\n0 NAME  PID\n"; }));
}

TEST(ConsoleServer, ServesItsOwnUserAndRoot) {
  const std::string foreign = "the console is for the host's own user\n";
  const std::string enabling = "interface up Debug";
  const struct {
    uid_t peer, host;
    std::string enabled, disabled, enables;  // the refusal of a line in each case
  } rows[] = {
      {5, 5, "", disabledText, disabledText}, {0, 5, "", disabledText, ""},
      {6, 5, foreign, foreign, foreign},      {5, 0, foreign, foreign, foreign},
      {0, 0, "", disabledText, ""},
  };
  for (const auto& [peer, host, enabled, disabled, enables] : rows) {
    SCOPED_TRACE(testing::Message() << peer << " of " << host);
    const auto refusalOf = [&, peer = peer, host = host](bool isEnabled, const auto&... line) {
      return ConsoleServer::refusalOf(peer, host, isEnabled, enabling, line...);
    };
    EXPECT_EQ(refusalOf(true), enabled);
    EXPECT_EQ(refusalOf(false), enables) << "as a client, if it may do anything";
    EXPECT_EQ(refusalOf(false, std::string(" interface  up \"Debug\" ")), enables);
    for (const std::string line : {"services", "interface up Http", "interface up Debug Http",
                                   "interface up debug", "interface up \"Debug"}) {
      EXPECT_EQ(refusalOf(true, line), enabled) << line;
      EXPECT_EQ(refusalOf(false, line), disabled) << line;
    }
  }
  EXPECT_EQ(ConsoleServer::refusalOf(0, 0, false, "", ""), "the console is disabled\n");
}

TEST_F(ConsoleServing, SocketIsItsOwnersAloneAndAPathThatIsTakenIsLeftAlone) {
  for (const char* name : {"run/console", "run/console.lock", "run"}) {
    const auto mode = std::filesystem::status(m_files.path(name)).permissions();
    EXPECT_EQ(mode & std::filesystem::perms(0077), std::filesystem::perms::none) << name;
  }
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

TEST_F(ConsoleServing, RemovesItsOwnSocketAloneAndReplacesOneThatNobodyAnswersOn) {
  std::filesystem::remove(m_path);
  std::string error;
  EXPECT_TRUE(listenAt(m_path, error).isOpen()) << error;  // closed at once, its file stays
  m_server.stop();
  EXPECT_TRUE(std::filesystem::exists(m_path));
  ASSERT_EQ(m_server.listen(m_path), "");
  m_server.start();
  EXPECT_EQ(Peer(m_path).ask("output a"), "0 a\n");
  m_server.stop();
  EXPECT_FALSE(std::filesystem::exists(m_path));
}

}  // namespace
}  // namespace framework
