// A steady poll cycle allocates nothing, and putting text neither: nothing in it grows, and nothing
// wears the heap out.

#include "host/service/fw_LockManager.h"
#include "support/SimulatedController.h"
#include "util/ut_DateTime.h"
#include "util/ut_System.h"
#include "util/ut_VirtualPutStream.h"

namespace {
std::atomic<bool> counting = false;
std::atomic<int> allocations = 0;
}  // namespace

// Not inlined: the compiler would take a new seen through for a malloc, and its delete for a
// mistake.
[[gnu::noinline]] void* operator new(std::size_t size) {
  if (counting) ++allocations;
  if (void* storage = std::malloc(size)) return storage;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* storage) noexcept { std::free(storage); }
[[gnu::noinline]] void operator delete(void* storage, std::size_t /*size*/) noexcept {
  std::free(storage);
}

namespace {

// Of 10 cycles, the memory samples of the second minute among them.
void expectNoneInSteadyCycles() {
  test::SimulatedController controller;
  controller.setList("data", {"named", "patterned/tool --[a-z]+", "absent"});
  controller.setInt("pollSeconds", 10);
  controller.setBool("doLockTrack", true);
  controller.setInt("flightKiB", 64);
  for (int pid = 100; pid < 200; ++pid) {
    controller.addProcess(pid, pid % 2 == 0 ? "/bin/named" : "/bin/tool --word");
  }
  framework::Logger::setLevel(framework::LogType::Debug);
  controller.build();
  int steady = -1;
  controller.at(25, [] { counting = true; });
  controller.at(125, [&] {
    counting = false;
    steady = allocations;
  });
  controller.runUntil(126);
  EXPECT_EQ(steady, 0);
}

TEST(Allocation, NoneWhileTextIsPut) {
  char array[32];
  char sink[256];
  utility::PutStream target(sink, sizeof sink);
  utility::VirtualPutStream forwarding(target, 32, 16);
  utility::System::current();  // may be built on its first use
  const int before = allocations;
  counting = true;
  utility::BufferStream stream(array, sizeof array, true);
  stream.PutF("%s %ld %08x", "text", 123456789L, 255U);
  stream.PutS(" and more than the array of thirty-two bytes can hold");
  utility::DateTime(1).ToISOBuffer(forwarding);
  for (int i = 0; i < 20; ++i) forwarding.PutF("%d %s,", i, "text");
  EXPECT_TRUE(forwarding.TransferFromInputStream(stream));
  counting = false;
  EXPECT_EQ(allocations, before);
}

TEST(Allocation, NoneInSteadyCycles) {
  auto& locks = *framework::LockManager::getInstance();
  ASSERT_TRUE(locks.take("flash", ::getpid()));
  expectNoneInSteadyCycles();
  locks.release("flash", ::getpid());
}

TEST(Allocation, NoneWhereDescriptorsRunShort) {
  const rlimit few{64, 64};
  ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
  expectNoneInSteadyCycles();
}

}  // namespace
