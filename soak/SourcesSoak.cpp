#include <gtest/gtest.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <future>
#include <random>
#include <utility>

#include "HostCore.h"
#include "config/Nodes.h"
#include "testing/Clock.h"
#include "testing/LogCapture.h"
#include "testing/TemporaryFolder.h"
#include "testing/TestSource.h"

namespace {

constexpr int kLives = 10;  ///< of each source
constexpr std::size_t kWorkers = 4;
constexpr int kOperations = 300;
constexpr std::size_t kFirstSpare = kWorkers + 1;

/** What one thread registers with one source. Only that thread starts and pauses it. */
struct Client {
  template <std::size_t>
  static void onEvent(int, void*, int, void* client) {
    auto* const self = static_cast<Client*>(client);
    self->faults += self->isPaused ? 1 : 0;
    ++self->events;
  }

  std::atomic<bool> isPaused = true;
  std::atomic<int> events = 0;
  std::atomic<int> faults = 0;
};

template <std::size_t... kNumbers>
constexpr auto makeCallbacks(std::index_sequence<kNumbers...>) {
  return std::array<AsyncEventCallback, sizeof...(kNumbers)>{Client::onEvent<kNumbers>...};
}

/** One for each thread, then expectEvent's; the others are registered, but never started. */
constexpr auto kCallbacks = makeCallbacks(std::make_index_sequence<64>());

void start(AsyncEvent& source, AsyncEventCallback cb) { source.startEvent(cb); }
void start(GfxEvent& source, AsyncEventCallback cb) { source.startEvent(cb, 1); }

/** A random operation of a thread's client. */
template <typename Source>
void operate(Source& source, Client& client, AsyncEventCallback cb, std::mt19937& random) {
  switch (random() % 3) {
    case 0:
      client.isPaused = false;
      start(source, cb);
      break;
    case 1:
      source.pauseEvent(cb);
      client.isPaused = true;
      break;
    default:
      source.registerCallBack(
          kCallbacks[kFirstSpare + random() % (kCallbacks.size() - kFirstSpare)], nullptr);
  }
}

/** Does something again and again while it lives. */
template <typename Action>
class Repeater {
 public:
  explicit Repeater(Action action) : mThread([this, action] { run(action); }) {}
  ~Repeater() {
    mStopped = true;
    mThread.join();
  }

 private:
  void run(const Action& action) {
    while (!mStopped) {
      action();
      std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
  }

  std::atomic<bool> mStopped = false;
  std::thread mThread;
};

class SourcesSoak : public testing::Test {
 protected:
  SourcesSoak() {
    EXPECT_EQ(mkfifo(mFifo.c_str(), 0600), 0);
    hostcore::setItem(kVsyncNodeItem, HostNameNode::kPath);
    hostcore::setItem(kGfxDataNodeItem, mFifo);
    hostcore::setItem(kGfxCtrlNodeItem, mFolder.path() + "/control");
  }

  /** Lets threads use new sources, and destroys these while events flow. */
  void live(std::mt19937& random) {
    TestSource vsync(mNode);
    TestGfxSource gfx(mFifo);
    TestThermalSource thermal;
    std::array<std::array<Client, 3>, kWorkers> clients;
    std::vector<std::future<void>> workers;
    for (std::size_t i = 0; i < kWorkers; ++i) {
      workers.push_back(std::async(std::launch::async, [&, i, seed = random()] {
        std::mt19937 own(seed);
        vsync.registerCallBack(kCallbacks[i], &clients[i][0]);
        gfx.registerCallBack(kCallbacks[i], &clients[i][1]);
        thermal.registerCallBack(kCallbacks[i], &clients[i][2]);
        for (int operation = 0; operation < kOperations; ++operation) {
          operate(vsync, clients[i][0], kCallbacks[i], own);
          operate(gfx, clients[i][1], kCallbacks[i], own);
          operate(thermal, clients[i][2], kCallbacks[i], own);
          std::this_thread::sleep_for(std::chrono::microseconds(own() % 200));
        }
      }));
    }
    workers.clear();  // once they have ended
    expectEvent(vsync);
    expectEvent(gfx);
    for (const auto& ofWorker : clients) {
      for (const Client& client : ofWorker) {
        EXPECT_EQ(client.faults, 0) << "events came after pauseEvent had returned";
        mEvents += client.events;
      }
    }
    if (random() % 2 == 0) {
      for (const AsyncEventCallback cb : kCallbacks) {
        vsync.pauseEvent(cb);
        gfx.pauseEvent(cb);
        thermal.pauseEvent(cb);
      }
    }
  }

  /** Whatever state the threads left the source in, a further client must get an event. */
  template <typename Source>
  static void expectEvent(Source& source) {
    constexpr AsyncEventCallback kCallback = kCallbacks[kWorkers];
    Client client;
    source.registerCallBack(kCallback, &client);
    client.isPaused = false;
    start(source, kCallback);
    const auto end = Clock::now() + std::chrono::seconds(10);
    while (client.events == 0 && Clock::now() < end) {
      std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_GT(client.events, 0) << "no event comes any more";
    source.pauseEvent(kCallback);
  }

  const HostNameNode mNode;
  const TemporaryFolder mFolder;
  const std::string mFifo = mFolder.path() + "/frames";
  const LogCapture mLog;
  int mEvents = 0;
};

TEST_F(SourcesSoak, ThreadsUseThemWhileEventsFlow) {
  std::mt19937 random(static_cast<unsigned>(GTEST_FLAG_GET(random_seed)));
  const Repeater vsyncs([this] { mNode.notify(); });
  const Repeater frames([node = std::make_shared<FrameNode>(mFifo)] {
    node->report("0 1 1 1 9000:0 2 1 1 20000:0 1 1 2 1:0 1 1 3 1:");
  });
  for (int life = 0; life < kLives && !HasFailure(); ++life) {
    live(random);
  }
  EXPECT_GT(mEvents, 0);
  EXPECT_TRUE(mLog.texts().empty());
}

}  // namespace
