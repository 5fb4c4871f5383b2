#pragma once

#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <tuple>

#include "AsyncEventsMgr.h"

inline auto figures(const GfxFrameData& data) {
  return std::tie(data.secondToThirdStage, data.frameStartIntervals, data.firstToSecondStage);
}

/** A source whose members can be seen. */
class OpenGfxEvent : public GfxEvent {
 public:
  using GfxEvent::mFrameStages;
  using GfxEvent::mGfxCtrlNode;
  using GfxEvent::mLastFrameStart;
};

/** GfxEvent::stringParser, written with strtok_r and strtoul. */
struct FrameParserReference {
  /** Changes text. Returns false at a record for which stringParser aborts. */
  bool parse(char* text, GfxFrameData& out) {
    char* next = nullptr;
    for (char* record; (record = strtok_r(text, ":", &next)) != nullptr; text = nullptr) {
      unsigned long fields[5] = {};
      char* nextField = nullptr;
      for (unsigned long& value : fields) {
        const char* const field = strtok_r(record, " ", &nextField);
        value = field != nullptr ? strtoul(field, nullptr, 0) : 0;
        record = nullptr;
      }
      const auto [unused, a, b, stage, time] = fields;
      if (a + b < a || a + b + 1 == 0) {
        return false;
      }
      const double key = static_cast<double>(a + b) * 0.5 * static_cast<double>(a + b + 1) +
                         static_cast<double>(b);
      take(key < 0x1p64 ? static_cast<unsigned long>(key) : ~0UL, stage,
           static_cast<double>(time) / 1000.0, out);
    }
    return true;
  }

  void take(unsigned long key, unsigned long stage, double time, GfxFrameData& out) {
    const auto frame = mFrameStages.find(key);
    const bool known = frame != mFrameStages.end();
    if (stage == 1) {
      std::vector<double>& stages = mFrameStages[key];
      stages.resize(3, time);
      stages[0] = time;
      const auto interval = static_cast<float>(time - static_cast<double>(mLastFrameStart));
      if (interval > 4.0F) {
        out.frameStartIntervals.push_back(interval);
        mLastFrameStart = static_cast<float>(time);
      }
    } else if (stage == 2 && known) {
      frame->second[1] = time;
      out.firstToSecondStage.push_back(time - frame->second[0]);
    } else if (stage == 3 && known) {
      out.secondToThirdStage.push_back(time - frame->second[1]);
      mFrameStages.erase(frame);
    }
  }

  /**
   * Lets both parse text and returns whether their results and states are the same. Text for which
   * source would abort is kept from it; it takes over the reference's state.
   */
  bool agreesWith(OpenGfxEvent& source, std::string_view text) {
    std::string copy(text);
    GfxFrameData expected;
    if (!parse(copy.data(), expected)) {
      source.mFrameStages = mFrameStages;
      source.mLastFrameStart = mLastFrameStart;
      return true;
    }
    copy = text;
    copy.shrink_to_fit();  // so that a sanitizer notices a read beyond its end
    GfxFrameData data;
    source.stringParser(copy.data(), data);
    return figures(data) == figures(expected) && copy == text &&
           source.mFrameStages == mFrameStages && source.mLastFrameStart == mLastFrameStart;
  }

  std::unordered_map<unsigned long, std::vector<double>> mFrameStages;
  float mLastFrameStart = 0;
};
