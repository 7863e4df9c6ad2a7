#pragma once

// The role of a stage that receives lumps. It asks nothing of its implementers yet.

namespace vantoconnect {

class BLConsumer {
  public:
    virtual ~BLConsumer() = default;

  protected:
    BLConsumer() = default;
    BLConsumer(const BLConsumer&) = default;
    BLConsumer& operator=(const BLConsumer&) = default;
};

}  // namespace vantoconnect
