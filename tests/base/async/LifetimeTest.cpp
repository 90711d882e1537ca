#include "base/async/Lifetime.h"

#include <functional>
#include <optional>
#include <string>

#include <gtest/gtest.h>

namespace lingrelay {

namespace {

TEST(Lifetime, wrappedCallbacksDoNothingOnceTheirOwnerHasGone)
{
    std::string heard;
    std::optional<Lifetime> lifetime(std::in_place);
    std::function<void(std::string const&)> const plain
        = lifetime->whileAlive([&](std::string const& word) { heard += word; });
    auto owner = std::make_shared<std::string>("s");
    std::function<void(std::string)> const shared
        = whileAlive(std::weak_ptr(owner), [&](std::string& self, std::string word) {
              owner.reset(); // the callback keeps what it works on
              heard += self + word;
          });
    plain("a");
    shared("b");
    lifetime.reset();
    plain("c");
    shared("d");
    EXPECT_EQ(heard, "asb");
}

} // namespace

} // namespace lingrelay
