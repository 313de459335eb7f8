#pragma once

#include <boost/multi_index/hashed_index.hpp>
#include <boost/multi_index/key.hpp>
#include <boost/multi_index/sequenced_index.hpp>
#include <boost/multi_index_container.hpp>

namespace b2drive {

// A list whose values are found by one of their members, too: `list.get<1>()` is a set by it. No
// two values have the same. For what is dropped in the order in which it came or was used.
template <typename Value, auto kMember>
using KeyedList = boost::multi_index_container<
    Value, boost::multi_index::indexed_by<
               boost::multi_index::sequenced<>,
               boost::multi_index::hashed_unique<boost::multi_index::key<kMember>>>>;

}  // namespace b2drive
