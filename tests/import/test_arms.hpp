#pragma once

// Three real arms, each written down by hand from its published dimensions in every form that
// fits it, with the model expected of each (built with MakeRobotConfig from axes and points
// worked out on paper):
// - a small ortho-parallel arm whose controller turns its joints the geometry's way;
// - a large ortho-parallel arm whose controller counts joints 2 and 3 from other zeros and turns
//   joints 4 and 6 the other way;
// - a collaborative arm with an offset wrist that is not spherical.

#include <array>
#include <cmath>
#include <string>

#include "zor/rob/arm_import.hpp"
#include "zor/rob/robot_config.hpp"

namespace zor::rob::test {

inline constexpr double kHalfTurn = 3.141592653589793;
inline const Vec3 kX{1, 0, 0};
inline const Vec3 kY{0, 1, 0};
inline const Vec3 kZ{0, 0, 1};

/// Flange z along base +x, flange x along base −z: +90° about y.
inline RotationTemplate<double> flangeAlongX() {
  return RotationTemplate<double>(kHalfTurn / 2, kY);
}

/// The model of an ortho-parallel arm at its controller's zero: joint 1 about +z through the base
/// origin, joints 2 and 3 about +y through `shoulder` and `elbow`, joints 4, 5 and 6 about
/// `forearmAxis`, +y and `forearmAxis` through the `wrist` centre, the flange at `flange` with
/// its z along +x.
inline ImportedArm orthoParallelExpected(const Pos& shoulder, const Pos& elbow, const Pos& wrist,
                                         const Vec3& forearmAxis, const Vec3& flange,
                                         double elbowOffset, const ArmLimits& limits) {
  ImportedArm arm;
  arm.robot = MakeRobotConfig({kZ, kY, kY, forearmAxis, kY, forearmAxis},
                              {Pos{}, shoulder, elbow, wrist, wrist, wrist},
                              Transform(flangeAlongX(), flange), limits.jointMin, limits.jointMax,
                              limits.homeJoint, elbowOffset, limits.jointCoupling);
  return arm;
}

// ---- The small ortho-parallel arm: a1 0, a2 70, b 0, c1 290, c2 270, c3 302, c4 72 ----

inline ArmLimits smallArmLimits() {
  ArmLimits l;
  l.jointMin = {-165, -110, -110, -160, -120, -360, -220};
  l.jointMax = {165, 110, 70, 160, 120, 360, 180};
  return l;
}

inline OrthoParallelParameters smallArmParameters() {
  OrthoParallelParameters p;
  p.lengths = {0, 70, 0, 290, 270, 302, 72};
  return p;
}

/// Classic table: frame 1 at the shoulder with z along +y; the upper arm along x of frame 2
/// (hence θ offset −90° of joint 2); the forearm offset a2 along x of frame 3; frames 4 and 5 at
/// the wrist centre; frame 6 the flange, turned half a turn so that its x points down.
inline DhTable smallArmDh() {
  DhTable t;
  t.convention = DhConvention::classic;
  t.rows = {{{0, -90, 290, 0},
             {270, 0, 0, -90},
             {70, -90, 0, 0},
             {0, 90, 302, 0},
             {0, -90, 0, 0},
             {0, 0, 72, 180}}};
  return t;
}

/// In metres and radians, with a fixed base plate below the arm and a fixed camera mount on the
/// forearm; flange "tool0" with z out of the flange.
inline const std::string kSmallArmUrdf = R"(<?xml version="1.0"?>
<robot name="small">
  <link name="world"/>
  <link name="base_link"/>
  <link name="link_1"/>
  <link name="link_2"/>
  <link name="link_3"/>
  <link name="camera"/>
  <link name="link_4"/>
  <link name="link_5"/>
  <link name="link_6"/>
  <link name="tool0"/>
  <joint name="world_base" type="fixed">
    <parent link="world"/><child link="base_link"/>
  </joint>
  <joint name="joint_1" type="revolute">
    <parent link="base_link"/><child link="link_1"/>
    <origin xyz="0 0 0.1" rpy="0 0 0"/><axis xyz="0 0 1"/>
    <limit lower="-2.8797932657906435" upper="2.8797932657906435" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_2" type="revolute">
    <parent link="link_1"/><child link="link_2"/>
    <origin xyz="0 0 0.19"/><axis xyz="0 1 0"/>
    <limit lower="-1.9198621771937625" upper="1.9198621771937625" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_3" type="revolute">
    <parent link="link_2"/><child link="link_3"/>
    <origin xyz="0 0 0.27"/><axis xyz="0 1 0"/>
    <limit lower="-1.9198621771937625" upper="1.2217304763960306" effort="1" velocity="1"/>
  </joint>
  <joint name="camera_mount" type="fixed">
    <parent link="link_3"/><child link="camera"/>
    <origin xyz="0.1 0 0.1"/>
  </joint>
  <joint name="joint_4" type="revolute">
    <parent link="link_3"/><child link="link_4"/>
    <origin xyz="0 0 0.07"/><axis xyz="1 0 0"/>
    <limit lower="-2.792526803190927" upper="2.792526803190927" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_5" type="revolute">
    <parent link="link_4"/><child link="link_5"/>
    <origin xyz="0.302 0 0"/><axis xyz="0 1 0"/>
    <limit lower="-2.0943951023931953" upper="2.0943951023931953" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_6" type="continuous">
    <parent link="link_5"/><child link="link_6"/>
    <axis xyz="1 0 0"/>
  </joint>
  <joint name="joint_6-tool0" type="fixed">
    <parent link="link_6"/><child link="tool0"/>
    <origin xyz="0.072 0 0" rpy="0 1.5707963267948966 0"/>
  </joint>
</robot>
)";

/// Worked out on paper: joint 1 about +z, joints 2 and 3 about +y through the shoulder
/// (0, 0, 290) and the elbow (0, 0, 560), the wrist centre at (302, 0, 630), joints 4 and 6
/// about +x, joint 5 about +y; the flange 72 beyond the wrist centre, z along +x. The arm is
/// stretched when the forearm (302, 0, 70) from the elbow points straight up: joint 3 at
/// −atan2(302, 70).
inline ImportedArm smallArmExpected(const ArmLimits& limits) {
  return orthoParallelExpected({0, 0, 290}, {0, 0, 560}, {302, 0, 630}, kX, {374, 0, 630},
                               std::atan2(302.0, 70.0), limits);
}

// ---- The large ortho-parallel arm: a1 350, a2 −41, b 0, c1 675, c2 1150, c3 1200, c4 215 ----

inline ArmLimits largeArmLimits() {
  ArmLimits l;
  l.jointMin = {-185, -140, -120, -350, -125, -350, -260};
  l.jointMax = {185, -5, 168, 350, 125, 350, 163};
  l.homeJoint = RobJoint(0, -90, 90, 0, 0, 0);
  l.jointCoupling = 1;
  return l;
}

/// The controller counts joint 2 from the upper arm lying forward and joint 3 from the forearm
/// standing at right angles to it, and turns joints 4 and 6 the other way round.
inline OrthoParallelParameters largeArmParameters() {
  OrthoParallelParameters p;
  p.lengths = {350, -41, 0, 675, 1150, 1200, 215};
  p.offsets = {0, 90, -90, 0, 0, 0};
  p.signs = {1, 1, 1, -1, 1, -1};
  return p;
}

inline const std::string kLargeArmUrdf = R"(<robot name="large">
  <link name="base_link"/><link name="link_1"/><link name="link_2"/><link name="link_3"/>
  <link name="link_4"/><link name="link_5"/><link name="link_6"/><link name="tool0"/>
  <joint name="joint_a1" type="revolute">
    <parent link="base_link"/><child link="link_1"/>
    <origin xyz="0 0 0.675"/><axis xyz="0 0 1"/>
    <limit lower="-3.2288591161895095" upper="3.2288591161895095" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_a2" type="revolute">
    <parent link="link_1"/><child link="link_2"/>
    <origin xyz="0.35 0 0"/><axis xyz="0 1 0"/>
    <limit lower="-2.443460952792061" upper="-0.08726646259971647" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_a3" type="revolute">
    <parent link="link_2"/><child link="link_3"/>
    <origin xyz="1.15 0 0"/><axis xyz="0 1 0"/>
    <limit lower="-2.0943951023931953" upper="2.9321531433504737" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_a4" type="revolute">
    <parent link="link_3"/><child link="link_4"/>
    <origin xyz="1.0 0 -0.041"/><axis xyz="-1 0 0"/>
    <limit lower="-6.1086523819801535" upper="6.1086523819801535" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_a5" type="revolute">
    <parent link="link_4"/><child link="link_5"/>
    <origin xyz="0.2 0 0"/><axis xyz="0 1 0"/>
    <limit lower="-2.1816615649929116" upper="2.1816615649929116" effort="1" velocity="1"/>
  </joint>
  <joint name="joint_a6" type="revolute">
    <parent link="link_5"/><child link="link_6"/>
    <axis xyz="-1 0 0"/>
    <limit lower="-6.1086523819801535" upper="6.1086523819801535" effort="1" velocity="1"/>
  </joint>
  <joint name="flange" type="fixed">
    <parent link="link_6"/><child link="tool0"/>
    <origin xyz="0.215 0 0" rpy="0 1.5707963267948966 0"/>
  </joint>
</robot>
)";

/// At the controller's zero the upper arm lies forward: the elbow at (1500, 0, 675), the wrist
/// centre at (2700, 0, 634), joints 4 and 6 about −x. The arm is stretched when the forearm
/// (1200, 0, −41) points along the upper arm (+x): joint 3 at −atan2(41, 1200).
inline ImportedArm largeArmExpected(const ArmLimits& limits) {
  return orthoParallelExpected({350, 0, 675}, {1500, 0, 675}, {2700, 0, 634}, -kX, {2915, 0, 634},
                               std::atan2(41.0, 1200.0), limits);
}

// ---- The collaborative arm: d1 127.3, a2 −612, a3 −572.3, d4 163.941, d5 115.7, d6 92.2 ----

inline ArmLimits collaborativeArmLimits() {
  ArmLimits l;
  l.jointMin = {-360, -360, -180, -360, -360, -360, -540};
  l.jointMax = {360, 360, 180, 360, 360, 360, 540};
  return l;
}

inline DhTable collaborativeArmDh() {
  DhTable t;
  t.convention = DhConvention::classic;
  t.rows = {{{0, 90, 127.3, 0},
             {-612, 0, 0, 0},
             {-572.3, 0, 0, 0},
             {0, 90, 163.941, 0},
             {0, -90, 115.7, 0},
             {0, 0, 92.2, 0}}};
  return t;
}

/// The same frames placed by the modified convention (each row holds the previous link's a and
/// alpha).
inline DhTable collaborativeArmModifiedDh() {
  DhTable t;
  t.convention = DhConvention::modified;
  t.rows = {{{0, 0, 127.3, 0},
             {0, 90, 0, 0},
             {-612, 0, 0, 0},
             {-572.3, 0, 163.941, 0},
             {0, 90, 115.7, 0},
             {0, -90, 92.2, 0}}};
  return t;
}

/// Each joint frame placed like the classic table's frames: joint i turns about z of frame
/// i − 1; the root "world" and a fixed "base_link" above it.
inline const std::string kCollaborativeArmUrdf = R"(<robot name="collaborative">
  <link name="world"/><link name="base_link"/><link name="shoulder_link"/>
  <link name="upper_arm_link"/><link name="forearm_link"/><link name="wrist_1_link"/>
  <link name="wrist_2_link"/><link name="wrist_3_link"/><link name="flange"/>
  <joint name="world_joint" type="fixed">
    <parent link="world"/><child link="base_link"/>
  </joint>
  <joint name="shoulder_pan_joint" type="revolute">
    <parent link="base_link"/><child link="shoulder_link"/>
    <axis xyz="0 0 1"/>
    <limit lower="-6.283185307179586" upper="6.283185307179586" effort="1" velocity="1"/>
  </joint>
  <joint name="shoulder_lift_joint" type="revolute">
    <parent link="shoulder_link"/><child link="upper_arm_link"/>
    <origin xyz="0 0 0.1273" rpy="1.5707963267948966 0 0"/><axis xyz="0 0 1"/>
    <limit lower="-6.283185307179586" upper="6.283185307179586" effort="1" velocity="1"/>
  </joint>
  <joint name="elbow_joint" type="revolute">
    <parent link="upper_arm_link"/><child link="forearm_link"/>
    <origin xyz="-0.612 0 0"/><axis xyz="0 0 1"/>
    <limit lower="-3.141592653589793" upper="3.141592653589793" effort="1" velocity="1"/>
  </joint>
  <joint name="wrist_1_joint" type="revolute">
    <parent link="forearm_link"/><child link="wrist_1_link"/>
    <origin xyz="-0.5723 0 0"/><axis xyz="0 0 1"/>
    <limit lower="-6.283185307179586" upper="6.283185307179586" effort="1" velocity="1"/>
  </joint>
  <joint name="wrist_2_joint" type="revolute">
    <parent link="wrist_1_link"/><child link="wrist_2_link"/>
    <origin xyz="0 0 0.163941" rpy="1.5707963267948966 0 0"/><axis xyz="0 0 1"/>
    <limit lower="-6.283185307179586" upper="6.283185307179586" effort="1" velocity="1"/>
  </joint>
  <joint name="wrist_3_joint" type="revolute">
    <parent link="wrist_2_link"/><child link="wrist_3_link"/>
    <origin xyz="0 0 0.1157" rpy="-1.5707963267948966 0 0"/><axis xyz="0 0 1"/>
    <limit lower="-6.283185307179586" upper="6.283185307179586" effort="1" velocity="1"/>
  </joint>
  <joint name="wrist_3-flange" type="fixed">
    <parent link="wrist_3_link"/><child link="flange"/>
    <origin xyz="0 0 0.0922"/>
  </joint>
</robot>
)";

/// At zero the arm lies along −x: joint 1 about +z, joints 2 to 4 about −y through (0, 0, 127.3),
/// (−612, 0, 127.3) and (−1184.3, 0, 127.3), joint 5 about −z, joint 6 about −y; axes 5 and 6
/// meet at (−1184.3, −163.941, 11.6), the wrist centre. The flange lies 92.2 beyond it along −y,
/// its z along −y, x along +x, y along +z; the wrist centre is not on a flange axis pointing
/// along base x, so the library's flange is this frame moved back to the wrist centre. The arm is
/// stretched when the forearm (−572.3, 0, −115.7) from the elbow points along the upper arm
/// (−x): joint 3 at −atan2(115.7, 572.3) about −y.
inline ImportedArm collaborativeArmExpected(const ArmLimits& limits) {
  const Pos wrist{-1184.3, -163.941, 11.6};
  const auto flangeRotation = RotationTemplate<double>::FromAxes({1, 0, 0}, {0, 0, 1}, {0, -1, 0});
  ImportedArm arm;
  arm.robot = MakeRobotConfig(
      {kZ, -kY, -kY, -kY, -kZ, -kY},
      {Pos{}, Pos{0, 0, 127.3}, Pos{-612, 0, 127.3}, Pos{-1184.3, -163.941, 127.3}, wrist, wrist},
      Transform(flangeRotation, wrist.toVec3()), limits.jointMin, limits.jointMax, limits.homeJoint,
      std::atan2(115.7, 572.3), limits.jointCoupling);
  arm.userFlange = Transform(RotationTemplate<double>::Identity(), {0, 0, 92.2});
  return arm;
}

}  // namespace zor::rob::test
