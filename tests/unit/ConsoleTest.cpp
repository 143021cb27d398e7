// The console server with real clients, those that misbehave among them.
#include <sys/stat.h>

#include <array>
#include <chrono>
#include <cstring>
#include <fstream>
#include <future>

#include "host/framework/fw_Container.h"
#include "support/ConsoleSetting.h"

namespace framework {
namespace {

using std::chrono::steady_clock;
using testing_console::Peer;

constexpr strings::stringtoken echoPath[] = {strings::tGSoutput};
constexpr strings::stringtoken bigPath[] = {strings::tGSstats};
constexpr strings::stringtoken closePath[] = {strings::tGSreset};
const CommandHandler::commanddata echoData = {"Echo", "", "", 1, echoPath};
const CommandHandler::commanddata bigData = {"Big", "", "", 1, bigPath};
const CommandHandler::commanddata closeData = {"Close", "", "", 1, closePath};
constexpr std::size_t bigSize = 4 << 20;

class ConsoleServing : public testing::Test {
 protected:
  ConsoleServing() {
    testing_console::addCommand(m_shell, echoData, [](auto& console, const auto& arguments) {
      console.reply(Ok, "%s\n", arguments.ArgValue(0));
      return 1;
    });
    testing_console::addCommand(m_shell, bigData, [](auto& console, const auto&) {
      console.output().PutS(std::string(bigSize, 'x').c_str());
      return 1;
    });
    testing_console::addCommand(m_shell, closeData, [this](auto& console, const auto&) {
      console.atClose("test", [this, peer = console.getPeer()] { m_closed.set_value(peer); });
      return 1;
    });
  }

  // Stops within a second, whatever the clients do.
  void expectQuickStop(ConsoleServer& server) {
    const auto before = steady_clock::now();
    server.stop();
    EXPECT_LT(steady_clock::now() - before, std::chrono::seconds(1));
    EXPECT_FALSE(std::filesystem::exists(m_path));
  }

  testing_console::TempDirectory m_directory;
  const std::string m_path = m_directory.path() + "/run/console";
  Shell m_shell;
  std::promise<int> m_closed;
};

TEST_F(ConsoleServing, AnswersSeveralClientsAtOnce) {
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
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
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
  Peer peer(m_path);
  peer.send("output a\n\nnonsense\nout");
  EXPECT_EQ(peer.reply(), "0 a\n");
  EXPECT_EQ(peer.reply(), "0 ");
  EXPECT_EQ(peer.reply(), "1 unknown command: nonsense; try help\n");
  peer.send("put b\n");
  EXPECT_EQ(peer.reply(), "0 b\n");
}

TEST_F(ConsoleServing, LongLinesAreRefusedAndTheSessionGoesOn) {
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
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
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
  Peer peer(m_path);
  const std::string chunk(65536, 'x');
  while (peer.send(chunk)) continue;  // until the server has closed
  EXPECT_EQ(peer.reply(), "closed");
}

TEST_F(ConsoleServing, HangingClientsDisturbNeitherTheOthersNorTheStop) {
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
  Peer silent(m_path);
  Peer half(m_path);
  half.send("output no line e");
  Peer deaf(m_path);
  deaf.send("stats\nstats\n");
  Peer good(m_path);
  EXPECT_EQ(good.ask("output a"), "0 a\n");
  expectQuickStop(server);
  EXPECT_EQ(good.reply(), "closed");
  EXPECT_EQ(half.reply(), "closed");
}

TEST_F(ConsoleServing, ClientThatNeverReadsIsClosed) {
  ConsoleServer server(m_shell, std::chrono::milliseconds(50));
  ASSERT_EQ(server.start(m_path), "");
  Peer deaf(m_path);
  deaf.send("stats\n");
  EXPECT_TRUE(deaf.hungUp());
  Peer good(m_path);
  EXPECT_EQ(good.ask("stats").size(), bigSize + std::strlen("0 "));
}

TEST_F(ConsoleServing, OneClientTooManyIsToldSoUntilAnotherLeaves) {
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
  std::list<Peer> peers;
  for (std::size_t i = 0; i < ConsoleServer::maxClients; ++i) {
    EXPECT_EQ(peers.emplace_back(m_path).ask("output a"), "0 a\n");
  }
  Peer refused(m_path);
  EXPECT_EQ(refused.reply(), "13 too many clients\n");
  EXPECT_EQ(refused.reply(), "closed");
  peers.clear();
  // The server sees the clients leave in its own time.
  const auto deadline = steady_clock::now() + std::chrono::seconds(10);
  while (Peer(m_path).ask("output b") != "0 b\n") ASSERT_LT(steady_clock::now(), deadline);
}

TEST_F(ConsoleServing, DoesWhatWasLeftForTheDisconnection) {
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
  auto closed = m_closed.get_future();
  Peer peer(m_path);
  EXPECT_EQ(peer.ask("reset"), "0 ");
  EXPECT_EQ(closed.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  peer.close();
  ASSERT_EQ(closed.wait_for(std::chrono::seconds(10)), std::future_status::ready);
  EXPECT_EQ(closed.get(), ::getpid());
}

TEST_F(ConsoleServing, DisabledConsoleServesTheLocalRootAlone) {
  ConsoleServer server(m_shell);
  ASSERT_EQ(server.start(m_path), "");
  Peer before(m_path);
  EXPECT_EQ(before.ask("output a"), "0 a\n");
  ASSERT_NE(Container::getConsole(), nullptr);
  EXPECT_TRUE(Container::getConsole()->disable());
  const std::string expected = ::geteuid() == 0 ? "0 b\n" : "13 the console is disabled\n";
  EXPECT_EQ(before.ask("output b"), expected);
  EXPECT_EQ(Peer(m_path).ask("output b"), expected);
  EXPECT_TRUE(Container::getConsole()->enable());
  EXPECT_EQ(Peer(m_path).ask("output c"), "0 c\n");
}

TEST(ConsoleServer, ServesItsOwnUserAndRoot) {
  const char* foreign = "the console is for the host's own user\n";
  const char* disabled = "the console is disabled\n";
  const struct {
    const char* name;
    uid_t peer;
    uid_t host;
    bool enabled;
    const char* refusal;
  } rows[] = {
      {"own user", 5, 5, true, nullptr},        {"root", 0, 5, true, nullptr},
      {"other user", 6, 5, true, foreign},      {"own user, disabled", 5, 5, false, disabled},
      {"root, disabled", 0, 5, false, nullptr}, {"root's own", 0, 0, false, nullptr},
      {"other of root's", 5, 0, true, foreign}};
  for (const auto& row : rows) {
    EXPECT_STREQ(ConsoleServer::refusalOf(row.peer, row.host, row.enabled), row.refusal)
        << row.name;
  }
}

TEST_F(ConsoleServing, SocketIsItsOwnersAlone) {
  ConsoleServer server(m_shell);
  const mode_t before = ::umask(0);
  EXPECT_EQ(server.start(m_path), "");
  ::umask(before);
  struct stat status {};
  ASSERT_EQ(::stat(m_path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFSOCK | 0600U);
  ASSERT_EQ(::stat((m_directory.path() + "/run").c_str(), &status), 0);
  EXPECT_EQ(status.st_mode, S_IFDIR | 0700U);
}

TEST_F(ConsoleServing, PathThatIsTakenIsLeftAlone) {
  const std::string answered = m_directory.path() + "/answered";
  const std::string file = m_directory.path() + "/file";
  ConsoleServer first(m_shell);
  ASSERT_EQ(first.start(answered), "");
  std::ofstream(file) << "content";
  const std::string tooLong = m_directory.path() + "/" + std::string(108, 'x');
  ConsoleServer second(m_shell);
  EXPECT_EQ(second.start(answered), answered + ": another host answers there");
  EXPECT_EQ(second.start(file), file + ": is there and is no socket");
  EXPECT_EQ(second.start(tooLong), tooLong + ": is no path for a socket (1 to 107 bytes)");
  second.stop();
  EXPECT_EQ(Peer(answered).ask("output a"), "0 a\n");
  EXPECT_EQ(std::filesystem::file_size(file), 7U);
}

TEST_F(ConsoleServing, SocketThatNobodyAnswersOnIsReplaced) {
  std::string error;
  EXPECT_TRUE(listenAt(m_path, error).isOpen()) << error;  // closed at once, its file stays
  EXPECT_TRUE(std::filesystem::exists(m_path));
  ConsoleServer server(m_shell);
  EXPECT_EQ(server.start(m_path), "");
  EXPECT_EQ(Peer(m_path).ask("output a"), "0 a\n");
  expectQuickStop(server);
  EXPECT_EQ(server.start(m_path), "") << "again after a stop";
  EXPECT_EQ(Peer(m_path).ask("output a"), "0 a\n");
}

}  // namespace
}  // namespace framework
