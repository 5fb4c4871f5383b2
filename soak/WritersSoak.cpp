#include <signal.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>

#include <atomic>
#include <random>
#include <thread>

#include "testing/Clock.h"
#include "testing/StoreFixture.h"

namespace {

/** Processes that write to store.db one after the other, each killed in the middle of it. */
class KilledWriters : public StoreFixture {
 protected:
  ~KilledWriters() override { munmap(&mReturned, sizeof(mReturned)); }

  /** Kills count writers at random times, and compares the file after each. */
  void killAndCompare(int count, unsigned seed) {
    LaunchStore("t", mDirectory, "store.db").LMDatabaseInit();
    std::mt19937 random(seed);
    for (int i = 0; i < count && !HasFailure(); ++i) {
      killOne(std::chrono::microseconds(random() % 5000));
      compare();
    }
    EXPECT_GT(mReturned, 0);
  }

 private:
  /** How many rows one call of writeCachedDRToDisk writes; their first column is the call's number. */
  static constexpr int kRows = 5;

  /** Starts a writer, and kills it that long after its first call has returned. */
  void killOne(std::chrono::microseconds after) {
    const int before = mReturned;
    const pid_t writer = fork();
    if (writer == 0) {
      prctl(PR_SET_PDEATHSIG, SIGKILL);
      write();
    }
    for (const auto end = Clock::now() + std::chrono::seconds(10);
         mReturned == before && Clock::now() < end;) {
      usleep(100);
    }
    EXPECT_GT(mReturned, before);
    std::this_thread::sleep_for(after);
    kill(writer, SIGKILL);
    waitpid(writer, nullptr, 0);
  }

  [[noreturn]] void write() {
    LaunchStore store("t", mDirectory, "store.db");
    store.LMDatabaseInit();
    for (;; ++mReturned) {
      for (int i = 0; i < kRows; ++i) {
        add(store, {.intcol1 = mReturned, .appName = "a", .payload = {i}});
      }
      store.writeCachedDRToDisk();
    }
  }

  /** The file holds the rows of each call that returned, and all or none of the last one's. */
  void compare() {
    EXPECT_THAT(query("PRAGMA integrity_check"), testing::ElementsAre("ok|"));
    EXPECT_THAT(query("SELECT intcol1 FROM t GROUP BY intcol1 HAVING count(*) <> 5 OR "
                      "count(DISTINCT blob) <> 5"),
                testing::IsEmpty());
    const int calls = std::stoi(query("SELECT count(DISTINCT intcol1) FROM t").front());
    EXPECT_THAT(query("SELECT min(intcol1), max(intcol1) FROM t"),
                testing::ElementsAre("0|" + std::to_string(calls - 1) + "|"));
    EXPECT_THAT(calls, testing::AnyOf(mReturned.load(), mReturned + 1));
    mReturned = calls;
  }

  /** How many calls have returned so far, in memory that the writers share with this process. */
  std::atomic<int>& mReturned =
      *new (mmap(nullptr, sizeof(std::atomic<int>), PROT_READ | PROT_WRITE,
                 MAP_SHARED | MAP_ANONYMOUS, -1, 0)) std::atomic<int>(0);
};

TEST_F(KilledWriters, LeaveWholeCalls) {
  killAndCompare(200, static_cast<unsigned>(GTEST_FLAG_GET(random_seed)));
}

}  // namespace
