#include "base/Observable.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

TEST(ObservableTest, observersComeAndGoWhileTheyAreTold)
{
    Observable<int> value{0};
    std::vector<std::string> told;
    Subscription second;
    Subscription third;
    auto const first = value.observe([&](int now) {
        told.push_back("first " + std::to_string(now));
        second = Subscription();
        if (told.size() == 1)
            third = value.observe([&](int later) { told.push_back("third " + std::to_string(later)); });
    });
    second = value.observe([&](int) { told.push_back("second"); });
    value = 1;
    value = 1;
    EXPECT_EQ(told, (std::vector<std::string>{"first 1", "first 1", "third 1"}))
        << "a dropped one is not told, a new one from the next time on, and equal values are told too";
}

} // namespace

} // namespace lingrelay
