#pragma once

// Component-by-component checks of the default values the records share.

#include <gtest/gtest.h>

#include "zor/rob/targets.hpp"

namespace zor::rob::test {

/// Checks the identity pose: the origin, with the orientation (1, 0, 0, 0).
inline void expectIdentityPose(const Pose& p) {
  EXPECT_EQ(p.pos.x, 0.0);
  EXPECT_EQ(p.pos.y, 0.0);
  EXPECT_EQ(p.pos.z, 0.0);
  EXPECT_EQ(p.orient.q1, 1.0);
  EXPECT_EQ(p.orient.q2, 0.0);
  EXPECT_EQ(p.orient.q3, 0.0);
  EXPECT_EQ(p.orient.q4, 0.0);
}

/// Checks the default load: a unit point mass at the origin with identity axes of moment.
inline void expectDefaultLoad(const LoadData& l) {
  EXPECT_EQ(l.mass, 1.0);
  EXPECT_EQ(l.cog.x, 0.0);
  EXPECT_EQ(l.cog.y, 0.0);
  EXPECT_EQ(l.cog.z, 0.0);
  EXPECT_EQ(l.aom.q1, 1.0);
  EXPECT_EQ(l.aom.q2, 0.0);
  EXPECT_EQ(l.aom.q3, 0.0);
  EXPECT_EQ(l.aom.q4, 0.0);
  EXPECT_EQ(l.ix, 0.0);
  EXPECT_EQ(l.iy, 0.0);
  EXPECT_EQ(l.iz, 0.0);
}

}  // namespace zor::rob::test
