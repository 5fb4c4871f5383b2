// Receives graphics frames. A FIFO stands for the kernel's node; this program writes to it itself.

#include <AsyncEventsMgr.h>
#include <HostCore.h>
#include <sys/stat.h>
#include <unistd.h>

#include <condition_variable>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <mutex>

struct Client {
  std::mutex lck;
  std::condition_variable arrived;
  GfxFrameData frames;
};

/** Runs on the polling thread. The payload is valid only during the call, so it is copied. */
static void onFrames(int, void* payload, int, void* userData) {
  Client& client = *static_cast<Client*>(userData);
  std::lock_guard lock(client.lck);
  client.frames = *static_cast<GfxFrameData*>(payload);
  client.arrived.notify_one();
}

static void print(const char* name, const std::vector<double>& times) {
  std::printf("%s", name);
  for (const double time : times) std::printf(" %.2f", time);
  std::printf("\n");
}

int main() {
  char folder[] = "/tmp/lmsupport-XXXXXX";
  const std::string path = mkdtemp(folder) != nullptr ? folder : "";
  if (mkfifo((path + "/frames").c_str(), 0600) != 0) return 1;
  std::fstream kernel(path + "/frames");   // open for both, so that the FIFO has no end
  hostcore::setItem(7, path + "/frames");  // a device's core library knows the nodes
  hostcore::setItem(8, path + "/control");

  Client client;
  GfxEvent& source = *GfxEvent::getInstance();
  source.registerCallBack(onFrames, &client);
  source.startEvent(onFrames, 60);  // what this driver takes for "on"
  // Frame (1, 1) in its three stages and the start of frame (2, 1); times in thousandths.
  kernel << "0 1 1 1 100000:0 1 1 2 103500:0 1 1 3 111250:0 2 1 1 116500" << std::flush;
  {
    std::unique_lock lock(client.lck);
    client.arrived.wait_for(lock, std::chrono::seconds(5),
                            [&] { return !client.frames.frameStartIntervals.empty(); });
  }
  source.pauseEvent(onFrames);  // no call begins after this
  print("stages 1 to 2: ", client.frames.firstToSecondStage);
  print("stages 2 to 3: ", client.frames.secondToThirdStage);
  print("start to start:", client.frames.frameStartIntervals);
  std::filesystem::remove_all(path);
  std::fflush(stdout);
  _exit(client.frames.firstToSecondStage.empty());  // not return: nobody wakes the polling thread
}
