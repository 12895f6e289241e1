#pragma once

#include <memory>
#include <string>

namespace eprosima::fastdds::dds {
class TopicDataType;
}

namespace FACE::TSS::Topics {

/// A new type support for a key such as "GSSIPPubSubType"; null when there is none of exactly
/// this name.
std::unique_ptr<eprosima::fastdds::dds::TopicDataType> GetPubSubType(std::string const& key);

}  // namespace FACE::TSS::Topics
