#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <android-base/unique_fd.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "Allocations.h"
#include "HostCore.h"
#include "Latency.h"
#include "Ratios.h"
#include "config/DynamicLoader.h"
#include "testing/FrameParserReference.h"
#include "testing/TemporaryFolder.h"

namespace {

/** The most that the source reads at once. */
constexpr std::size_t kPageSize = 4094;

/** What one record of a page does to the table of frames. */
struct Step {
  unsigned long key;
  unsigned long stage;
  double time;
};

struct Page {
  char text[kPageSize + 1] = {};
  std::size_t size = 0;
  std::vector<Step> steps;

  bool add(const std::string& record) {
    if (size + record.size() > kPageSize) {
      return false;
    }
    size += record.copy(text + size, record.size());
    return true;
  }
};

/**
 * The pages of a round, which is repeated: all three stages of each of 256 frames, so many of which
 * are pending at a time. The last frames of a round end in the next, so that all rounds are alike.
 */
std::vector<Page> typicalPages(unsigned inFlight) {
  constexpr unsigned kFrames = 256;
  std::vector<Page> pages(1);
  for (unsigned i = 0; i < kFrames; ++i) {
    for (const unsigned long stage : {1UL, 2UL, 3UL}) {
      const unsigned long frame = (i + kFrames - (inFlight - 1) * (stage - 1) / 2) % kFrames;
      const unsigned long a = 15000 + frame;
      const unsigned long time = 86400000000UL + 8333UL * i + 4000UL * stage;
      char record[64];
      std::snprintf(record, sizeof(record), "0 %lu 1 %lu %lu 0:", a, stage, time);
      if (!pages.back().add(record)) {
        pages.emplace_back().add(record);
      }
      pages.back().steps.push_back({(a + 1) * (a + 2) / 2 + 1, stage, time / 1000.0});
    }
  }
  return pages;
}

/** Untypical texts for the time of a page's first record and all that follows it. */
const std::string kHostileRecords[] = {
    "x",
    "x y z x y z:",
    "0x0 0x3a98 0x1 0x2 0x141dd76000 0:",
    "00 035230 01 02 01207355660000 00:",
    std::string(200, '9') + " 1 1 2 " + std::string(200, '9') + " 0:",
    "9",
    ":",
    " ",
    "\t",
    "1:",
    "0 1 1 3 1 0:",
    "-1 1 1 2 -1 0:",
    "0 1 1 2 18446744073709551615 0:",
};

std::vector<Page> hostilePages(const benchmark::State& state) {
  Page page;
  page.add("0 1 1 1 ");
  while (page.add(kHostileRecords[state.range(0)])) {
  }
  return {page};
}

/** A source that only parses. */
struct Parser : OpenGfxEvent {
  void run(char* text, const Page&, GfxFrameData& out) { stringParser(text, out); }
};

/** What a user would write otherwise. */
struct PlainParser : FrameParserReference {
  void run(char* text, const Page&, GfxFrameData& out) { parse(text, out); }
};

/** The limit: only the table of frames, with the numbers of the records known beforehand. */
struct TableOnly {
  using Frames = std::unordered_map<unsigned long, std::vector<double>>;

  void run(char*, const Page& page, GfxFrameData& out) {
    Frames::node_type spare;
    for (const auto& [key, stage, time] : page.steps) {
      const auto frame = mFrameStages.find(key);
      if (stage == 1) {  // of a frame that is not there
        start(key, time, spare);
        countStart(time, out);
      } else if (frame == mFrameStages.end()) {
        continue;  // in the first round
      } else if (stage == 2) {
        frame->second[1] = time;
        out.firstToSecondStage.push_back(time - frame->second[0]);
      } else {
        out.secondToThirdStage.push_back(time - frame->second[1]);
        spare = mFrameStages.extract(frame);
      }
    }
  }

  void start(unsigned long key, double time, Frames::node_type& spare) {
    if (spare.empty()) {
      mFrameStages.emplace(key, std::vector(3, time));
      return;
    }
    spare.key() = key;
    spare.mapped().assign(3, time);
    mFrameStages.insert(std::move(spare));
  }

  void countStart(double time, GfxFrameData& out) {
    const auto interval = static_cast<float>(time - static_cast<double>(mLastFrameStart));
    if (interval > 4.0F) {
      out.frameStartIntervals.push_back(interval);
      mLastFrameStart = static_cast<float>(time);
    }
  }

  Frames mFrameStages;
  float mLastFrameStart = 0;
};

/** Parses one page per iteration, each from a fresh copy, as the kernel makes one. */
template <typename Parser>
void parse(benchmark::State& state, const std::vector<Page>& pages) {
  Parser parser;
  auto page = pages.begin();
  const auto parseNext = [&] {
    char text[kPageSize + 1];
    std::memcpy(text, page->text, sizeof(text));
    benchmark::DoNotOptimize(text);
    GfxFrameData data;
    parser.run(text, *page, data);
    benchmark::DoNotOptimize(data);
    if (++page == pages.end()) {
      page = pages.begin();
      parser.mLastFrameStart = 0;  // the round begins at the same time again
    }
  };
  for (std::size_t i = 0; i < 2 * pages.size(); ++i) {
    parseNext();
  }
  const std::size_t allocationsBefore = gAllocations;
  for (auto _ : state) {
    parseNext();
  }
  const auto iterations = static_cast<double>(state.iterations());
  state.counters["allocs"] = static_cast<double>(gAllocations - allocationsBefore) / iterations;
  state.counters["bytes_per_second"] =
      benchmark::Counter(iterations * kPageSize, benchmark::Counter::kIsRate);
}

template <typename Parser>
void parseTypical(benchmark::State& state) {
  parse<Parser>(state, typicalPages(static_cast<unsigned>(state.range(0))));
}

void parseGfxEvent(benchmark::State& state) { parseTypical<Parser>(state); }
void parsePlain(benchmark::State& state) { parseTypical<PlainParser>(state); }
void parseTableOnly(benchmark::State& state) { parseTypical<TableOnly>(state); }

void parseHostileGfxEvent(benchmark::State& state) { parse<Parser>(state, hostilePages(state)); }
void parseHostilePlain(benchmark::State& state) { parse<PlainParser>(state, hostilePages(state)); }

/** A FIFO, whose readers sleep until something is written. */
class FrameNode {
 public:
  FrameNode() {
    mkfifo(path.c_str(), 0600);
    mFd.reset(open(path.c_str(), O_RDWR | O_CLOEXEC));
  }

  void report() const {
    static constexpr char kFrame[] =
        "0 15000 1 1 86400000000 0:0 15000 1 2 86400004000 0:0 15000 1 3 86400010000 0:";
    benchmark::DoNotOptimize(write(mFd.get(), kFrame, sizeof(kFrame) - 1));
  }

  const TemporaryFolder folder;
  const std::string path = folder.path() + "/frames";

 private:
  android::base::unique_fd mFd;
};

/** Constructed by its first use, which comes before any reader starts. */
const FrameNode& frameNode() {
  static const FrameNode node;
  return node;
}

void reportFrame() { frameNode().report(); }

void onFrames(int, void*, int, void*) { noteArrival(); }

class GfxReceiver {
 public:
  GfxReceiver() {
    mSource.registerCallBack(onFrames, nullptr);
    mSource.startEvent(onFrames, 1);
  }

  ~GfxReceiver() {
    mSource.setThreadState(THREAD_EXIT);
    reportFrame();
  }

 private:
  GfxEvent mSource;
};

/** The limit: only the system calls. */
class BareReceiver {
 public:
  ~BareReceiver() {
    mStopped = true;
    reportFrame();
    mThread.join();
  }

 private:
  void run() {
    const android::base::unique_fd fd(open(frameNode().path.c_str(), O_RDONLY));
    while (!mStopped) {
      char text[kPageSize];
      benchmark::DoNotOptimize(read(fd.get(), text, sizeof(text)));
      noteArrival();
      lseek(fd.get(), 0, SEEK_SET);
    }
  }

  std::atomic<bool> mStopped = false;
  std::thread mThread{[this] { run(); }};
};

void latencyGfxEvent(benchmark::State& state) {
  hostcore::setItem(kGfxDataNodeItem, frameNode().path);
  hostcore::setItem(kGfxCtrlNodeItem, "/dev/null");
  latency<GfxReceiver>(state, reportFrame);
}

void latencyBareRead(benchmark::State& state) { latency<BareReceiver>(state, reportFrame); }

void typicalRuns(benchmark::internal::Benchmark* benchmark) {
  benchmark->Arg(1)->Arg(8)->Arg(64)->Repetitions(5)->MinTime(0.1);
}

void hostileRuns(benchmark::internal::Benchmark* benchmark) {
  benchmark->DenseRange(0, std::size(kHostileRecords) - 1)->Repetitions(5)->MinTime(0.05);
}

BENCHMARK(parseGfxEvent)->Apply(typicalRuns);
BENCHMARK(parsePlain)->Apply(typicalRuns);
BENCHMARK(parseTableOnly)->Apply(typicalRuns);
BENCHMARK(parseHostileGfxEvent)->Apply(hostileRuns);
BENCHMARK(parseHostilePlain)->Apply(hostileRuns);
BENCHMARK(latencyGfxEvent)->Apply(latencyRuns);
BENCHMARK(latencyBareRead)->Apply(latencyRuns);

}  // namespace

std::vector<Ratio> gfxRatios() {
  std::vector<Ratio> ratios = {{"latencyGfxEvent", "latencyBareRead", "p50_us", "<= 1.05"}};
  for (const std::string frames : {"/1", "/8", "/64"}) {
    ratios.push_back({"parseGfxEvent" + frames, "parsePlain" + frames, "", "<= 0.25"});
    ratios.push_back({"parseGfxEvent" + frames, "parseTableOnly" + frames, "", "<= 2"});
    ratios.push_back({"parseGfxEvent" + frames, "parseTableOnly" + frames, "allocs", "<= 1"});
  }
  for (std::size_t i = 0; i < std::size(kHostileRecords); ++i) {
    std::string kind = std::to_string(i);
    kind.insert(0, 1, '/');
    ratios.push_back({"parseHostileGfxEvent" + kind, "parseHostilePlain" + kind, "", "<= 1"});
  }
  return ratios;
}
