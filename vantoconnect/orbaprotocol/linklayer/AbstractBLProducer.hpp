#pragma once

// A pipeline stage that emits byte lumps on numbered output channels. Only the channel
// bookkeeping lives here; each stage answers its own channel choice.

#include <cstdint>
#include <vector>

namespace vantoconnect {

class AbstractBLProducer {
  public:
    std::int64_t noOfChannels = 0;
    // One consumer count per channel, all 0: nothing wires consumers to a stage.
    std::vector<std::int64_t> consumersPerChannel;

    // A negative channel count stops the process.
    explicit AbstractBLProducer(std::int64_t i);
    virtual ~AbstractBLProducer();
};

}  // namespace vantoconnect
