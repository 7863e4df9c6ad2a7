#pragma once

// A pipeline stage that turns lumps into lumps. It carries nothing of its own; stages keep
// the shape so they can be wired together later without changing their callers.

namespace vantoconnect {

class AbstractBLProcessor {
  public:
    AbstractBLProcessor() = default;
    virtual ~AbstractBLProcessor() = default;
};

}  // namespace vantoconnect
