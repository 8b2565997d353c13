// Vector, the pointer array under every list.
#include <gtest/gtest.h>

#include "asn1/Vector.h"

namespace {

int a = 1, b = 2, c = 3;

TEST(Vector, GrowsRemovesAndCompacts) {
    Vector v(2);
    v.addElement(&a);
    v.addElement(&b);
    v.addElement(&c);
    EXPECT_EQ(v.getCount(), 3);
    EXPECT_EQ(v.elementAt(2), &c);
    EXPECT_EQ(v.elementAt(3), nullptr);
    EXPECT_EQ(v.elementAt(-1), nullptr);

    EXPECT_TRUE(v.removeElementAt(0));
    EXPECT_EQ(v.elementAt(0), &b);
    EXPECT_FALSE(v.removeElementAt(5));
    EXPECT_TRUE(v.clearElementAt(0));
    EXPECT_FALSE(v.setElementAt(&a, 2));
    v.recompactElements();
    EXPECT_EQ(v.getCount(), 1);
    EXPECT_EQ(v.elementAt(0), &c);
    v.addElement(&a);  // after compaction there is no spare slot: it must grow again
    EXPECT_EQ(v.elementAt(1), &a);
    v.removeElement();
    EXPECT_EQ(v.getCount(), 1);
}

TEST(Vector, CompactingToNothing) {
    Vector v;
    v.addElement(&a);
    v.invalidateElement(0);
    v.recompactElements();
    EXPECT_EQ(v.getCount(), 0);
    EXPECT_EQ(v.elementAt(0), nullptr);
    v.addElement(&b);
    EXPECT_EQ(v.elementAt(0), &b);
}

}  // namespace
