#include "vantoconnect/orbaprotocol/linklayer/AbstractBLProducer.hpp"

#include "vantoconnect/support/Fatal.hpp"

namespace vantoconnect {

AbstractBLProducer::AbstractBLProducer(std::int64_t i)
    : noOfChannels(i), consumersPerChannel(requireCount(i), 0) {}

AbstractBLProducer::~AbstractBLProducer() = default;

}  // namespace vantoconnect
