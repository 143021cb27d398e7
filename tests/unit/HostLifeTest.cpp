// The life of a host whose plug-ins misbehave, seen from outside.

#include "support/ConsoleSetting.h"

namespace {

class HostLife : public testing::Test {
 protected:
  // Runs a host with the plug-ins told what to do; the answer is its status, as a shell has it.
  int run(const std::string& told, const std::string& option = "",
          const std::string& first = probe("first")) const {
    files.write("mc.toml", "[host]\nslot = 'A'\nservices = ['First', 'Second']\nconsole = '" +
                               files.path("console") + "'\nlog.destination = '" +
                               files.path("log") + "'\nplugins = ['" + first + "', '" +
                               probe("second") + "', 'libmcapp.so']\n[AppManager]\n" +
                               "data = ['web']\nnokill = ['web']\nkillNonEssential = []\n" +
                               "[sysinfo]\nHttpDisable = true\nHttpsDisable = true\n");
    const std::string line = "MC_CONFIG=" + files.path("cfg") + " MC_TEST=" + told +
                             " MC_TEST_CONSOLE=" + files.path("console") + " timeout 60 " +
                             test::built("bin/mchost") + " --config " + files.path("mc.toml") +
                             option + " 2>" + files.path("said");
    return WEXITSTATUS(std::system(line.c_str()));
  }

  // What the probes noted, in order.
  std::string notes() const {
    std::istringstream log(files.read("log"));
    std::string notes;
    for (std::string line; std::getline(log, line);) {
      for (const char* probe : {"host: First ", "host: Second "}) {
        const auto at = line.find(probe);
        if (at != std::string::npos) notes += line.substr(at + 6) + "\n";
      }
    }
    return notes;
  }

  static std::string probe(const std::string& name) {
    return test::built("lib/lib") + name + ".so";
  }

  test::Temporary files;
};

TEST_F(HostLife, PlugInsAreKeptApartAndClientsWaitForTheStart) {
  EXPECT_EQ(run("ask"), 0) << files.read("said");
  std::string all = notes();
  const std::string thread = "First threadDo\n";  // runs beside the others
  ASSERT_NE(all.find(thread), std::string::npos) << all;
  EXPECT_EQ(all.erase(all.find(thread), thread.size()),
            "First built\nSecond built\nFirst started\nSecond started\nFirst asked\n"
            "Second stopped\nFirst stopped\n");
  EXPECT_NE(files.read("log").find("Second: Startup ended by an exception: stream overflow in "
                                   "Startup trouble"),
            std::string::npos);
}

TEST_F(HostLife, ASignalWhilePlugInsLoadStopsAHostInOrderAndEndsACheckAsUsual) {
  EXPECT_EQ(run("stop"), 0) << files.read("said");
  EXPECT_NE(notes().find("Second stopped\nFirst stopped\n"), std::string::npos);
  EXPECT_EQ(run("stop", " --check"), 128 + SIGTERM);
}

// Its initialisers would end the check by a signal.
TEST_F(HostLife, APlugInBuiltForAnotherHostIsRefusedBeforeItIsLoaded) {
  const std::string note("\3\0\0\0\10\0\0\0\1\0\0\0MC\0\0", 16);
  const struct {
    std::size_t at;  // behind the note's beginning
    const char* said;
  } cases[] = {{12, "is no plug-in: it has no note of the interface that it was built for\n"},
               {16, " is built for interface 113 with tokens "},
               {20, "; build it anew with this host's headers\n"}};
  for (const auto& [at, said] : cases) {
    std::string library = (std::ostringstream() << std::ifstream(probe("first")).rdbuf()).str();
    for (std::size_t i = library.find(note); i < library.size(); i = library.find(note, i + 1)) {
      library[i + at] = 'q';
    }
    files.write("other.so", library);
    EXPECT_EQ(run("stop", " --check", files.path("other.so")), 1);
    EXPECT_NE(files.read("said").find(said), std::string::npos) << files.read("said");
  }
}

TEST_F(HostLife, AnExceptionThatNobodyCatchesLosesNoLineAndIsNamed) {
  EXPECT_EQ(run("throw"), 1);
  std::istringstream all(notes());
  int last = 0;
  for (std::string line; std::getline(all, line);) last += line == "First last line" ? 1 : 0;
  EXPECT_EQ(last, 200);
  EXPECT_NE(files.read("said").find(": stream overflow in thread trouble\n"), std::string::npos)
      << files.read("said");
}

}  // namespace
