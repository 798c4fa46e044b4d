#include <gtest/gtest.h>

#include <string>

#include "kv_basic/Array.h"

namespace kelvar {
namespace {

// An element that counts its live instances and owns heap memory, so that
// missed destructions, double destructions and shallow copies show up.
struct Tracked {
    static inline int live = 0;
    std::string text;
    Tracked() : text("default") { ++live; }
    explicit Tracked(std::string t) : text(std::move(t)) { ++live; }
    Tracked(const Tracked& o) : text(o.text) { ++live; }
    Tracked(Tracked&& o) noexcept : text(std::move(o.text)) { ++live; }
    Tracked& operator=(const Tracked&) = default;
    Tracked& operator=(Tracked&&) noexcept = default;
    ~Tracked() { --live; }
};

// Capacities 4, 8, 13, 18, 24, ...; the elements survive every move. The
// storage changes otherwise only when asked, and never below the count.
TEST(Array, GrowsToCountPlusAnEighthPlusFourAndShrinksOnlyWhenAsked) {
    Array<int> a;
    uint32_t expected = 0;
    for (int i = 0; i < 200; ++i) {
        if (a.size() == expected) expected = a.size() + a.size() / 8 + 4;
        a.push_back(i);
        ASSERT_EQ(a.capacity(), expected) << "after " << i + 1 << " appends";
    }
    for (int i = 0; i < 200; ++i) EXPECT_EQ(a[i], i);
    a.resize(3);
    a.resize(10);  // new elements are zeroed over the old values
    for (int i = 0; i < 10; ++i) EXPECT_EQ(a[i], i < 3 ? i : 0);
    a.reserve(5);
    EXPECT_EQ(a.capacity(), expected);
    a.setCapacity(1);
    EXPECT_EQ(a.capacity(), 10u);
    a.clear();
    a.shrinkToFit();
    EXPECT_EQ(a.capacity(), 0u);
    EXPECT_EQ(a.data(), nullptr);
}

TEST(Array, NonTrivialElementsAreConstructedAndDestroyedExactlyOnce) {
    Tracked::live = 0;
    {
        Array<Tracked> a;
        for (int i = 0; i < 50; ++i) a.push_back(Tracked(std::to_string(i)));
        EXPECT_EQ(Tracked::live, 50);
        a.removeSwapLast(0);
        EXPECT_EQ(a[0].text, "49");
        a.pop_back();
        EXPECT_EQ(Tracked::live, 48);
        a.resize(60);
        EXPECT_EQ(a[59].text, "default");
        a.resize(10, Tracked("fill"));
        EXPECT_EQ(Tracked::live, 10);

        Array<Tracked> copy = a;
        copy[1].text = "changed";
        EXPECT_EQ(a[1].text, "1");
        EXPECT_EQ(Tracked::live, 20);
        Array<Tracked> moved = std::move(copy);
        EXPECT_EQ(moved[1].text, "changed");
        EXPECT_EQ(Tracked::live, 20);
        a.shrinkToFit();
        EXPECT_EQ(a[9].text, "9");
    }
    EXPECT_EQ(Tracked::live, 0);
}

TEST(Array, AppendingOwnElementWhenFullIsSafe) {
    Array<std::string> a{"alpha", "beta", "gamma", "delta"};
    ASSERT_EQ(a.size(), a.capacity());
    a.push_back(a[0]);
    EXPECT_EQ(a[4], "alpha");
    a.shrinkToFit();
    a.resize(8, a[1]);
    EXPECT_EQ(a[7], "beta");
}

}  // namespace
}  // namespace kelvar
