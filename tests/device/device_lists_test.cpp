// The comparison of two device lists: what was plugged in and out, in order, duplicates kept apart.
#include "device/device_lists.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

using kavri::device::CompareDeviceLists;
using kavri::device::ListChanges;
using kavri::device::SameSerialProduct;

struct Named {
    std::string serial;
    std::string product;
    int handle; // takes no part in sameness
};

std::vector<std::string> names(std::vector<Named> const& list) {
    std::vector<std::string> out;
    for (Named const& device : list)
        out.push_back(device.product + "/" + device.serial + "#" + std::to_string(device.handle));
    return out;
}

struct Row {
    char const* what;
    std::vector<Named> before;
    std::vector<Named> after;
    std::vector<std::string> added;
    std::vector<std::string> removed;
};

TEST(CompareDeviceLists, FindsPluggedInAndOutInListOrder) {
    std::vector<Row> const rows = {
        {"both empty", {}, {}, {}, {}},
        {"unchanged, other handles", {{"1", "A", 1}}, {{"1", "A", 2}}, {}, {}},
        {"one added at the end", {{"1", "A", 1}}, {{"1", "A", 1}, {"2", "B", 2}}, {"B/2#2"}, {}},
        {"one removed from the middle",
         {{"1", "A", 1}, {"2", "B", 2}, {"3", "C", 3}},
         {{"1", "A", 1}, {"3", "C", 3}},
         {},
         {"B/2#2"}},
        {"same serial, other product", {{"1", "A", 1}}, {{"1", "B", 1}}, {"B/1#1"}, {"A/1#1"}},
        {"same product, other serial", {{"1", "A", 1}}, {{"2", "A", 1}}, {"A/2#1"}, {"A/1#1"}},
        {"order of the new list kept",
         {},
         {{"3", "C", 3}, {"1", "A", 1}, {"2", "B", 2}},
         {"C/3#3", "A/1#1", "B/2#2"},
         {}},
        {"two equal after, one before: nothing added", {{"1", "A", 1}}, {{"1", "A", 1}, {"1", "A", 2}},
         {}, {}},
        {"two equal before, none after: both removed", {{"1", "A", 1}, {"1", "A", 2}}, {}, {},
         {"A/1#1", "A/1#2"}},
        {"a byte-wise comparison: a trailing blank differs", {{"1", "A", 1}}, {{"1", "A ", 1}},
         {"A /1#1"}, {"A/1#1"}},
    };
    for (Row const& row : rows) {
        SCOPED_TRACE(row.what);
        ListChanges<Named> const changes =
            CompareDeviceLists(row.before, row.after, SameSerialProduct<Named>);
        EXPECT_EQ(names(changes.added), row.added);
        EXPECT_EQ(names(changes.removed), row.removed);
    }
}

TEST(CompareDeviceLists, UsesTheGivenSameness) {
    std::vector<int> const before = {1, 2, 3};
    std::vector<int> const after = {4, 5};
    auto const sameParity = [](int a, int b) { return a % 2 == b % 2; };
    ListChanges<int> const changes = CompareDeviceLists(before, after, sameParity);
    EXPECT_TRUE(changes.added.empty());
    EXPECT_TRUE(changes.removed.empty());
    ListChanges<int> const exact =
        CompareDeviceLists(before, after, [](int a, int b) { return a == b; });
    EXPECT_EQ(exact.added, after);
    EXPECT_EQ(exact.removed, before);
}

} // namespace
