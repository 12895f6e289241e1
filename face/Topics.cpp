#include "face/Topics.h"

#include <algorithm>
#include <iterator>
#include <string_view>

#include "aspn2_msgs/TopicTypes.h"

namespace FACE::TSS::Topics {

namespace {

using eprosima::fastdds::dds::TopicDataType;

template <class Support>
std::unique_ptr<TopicDataType> make() {
    return std::make_unique<Support>();
}

struct Entry {
    std::string_view key;
    std::unique_ptr<TopicDataType> (*make)();
};

#define FACE_TOPIC_ENTRY(Name) {#Name "PubSubType", &make<aspn2_msgs::idl::Name##PubSubType>},
constexpr Entry ENTRIES[] = {ASPN2_MSGS_TOPIC_TYPES(FACE_TOPIC_ENTRY)};
#undef FACE_TOPIC_ENTRY

}  // namespace

std::unique_ptr<TopicDataType> GetPubSubType(std::string const& key) {
    auto const* const entry = std::find_if(std::begin(ENTRIES), std::end(ENTRIES),
                                           [&](Entry const& each) { return each.key == key; });
    return entry == std::end(ENTRIES) ? nullptr : entry->make();
}

}  // namespace FACE::TSS::Topics
