#include <gtest/gtest.h>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/tree.hpp>
#include <kdl_parser/kdl_parser.hpp>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>

#include "import/test_arms.hpp"
#include "support/test_support.hpp"
#include "zor/rob/arm_import.hpp"

// urdfdom itself leaks the links of a description whose joint names one link as both parent and
// child (a shared_ptr cycle it builds before it checks the tree), and a few rejections here feed
// it exactly that. The leak is in urdfdom, not in this library: keep LeakSanitizer quiet about
// frames of urdfdom's model library only. Outside a sanitizer build nothing calls this.
extern "C" const char* __lsan_default_suppressions() {
  return "leak:liburdfdom_model";
}

namespace zor::rob {
namespace {

/// Largest distance (mm) between our flange and KDL's: their origins and the points 1 m along
/// their axes.
constexpr double kKdlTolerance = 1e-9;
constexpr int kKdlSamples = 2000;

/// `text` with its only occurrence of `from` replaced by `to`.
std::string replaced(const std::string& text, const std::string& from, const std::string& to) {
  const std::size_t at = text.find(from);
  EXPECT_NE(at, std::string::npos) << from;
  EXPECT_EQ(text.find(from, at + 1), std::string::npos) << from;
  std::string out = text;
  return at == std::string::npos ? out : out.replace(at, from.size(), to);
}

/// Reads the same URDF with kdl_parser and compares the forward kinematics of the chain with
/// the described flange of ours over random joint values.
void expectSameAsKdl(const std::string& urdf, const std::string& base, const std::string& tip) {
  KDL::Tree tree;
  ASSERT_TRUE(kdl_parser::treeFromString(urdf, tree));
  KDL::Chain chain;
  ASSERT_TRUE(tree.getChain(base, tip, chain));
  ASSERT_EQ(chain.getNrOfJoints(), 6u);
  KDL::ChainFkSolverPos_recursive fk(chain);
  const ImportedArm arm = ArmFromUrdf(urdf, base, tip);
  test::Random random;
  for (int s = 0; s < kKdlSamples; ++s) {
    RobJoint j;
    KDL::JntArray q(6);
    for (unsigned int i = 0; i < 6; ++i) {
      j.values[i] = random.uniform(-360, 360);
      q(i) = j.values[i] * test::kHalfTurn / 180.0;
    }
    KDL::Frame frame;
    ASSERT_GE(fk.JntToCart(q, frame), 0);
    const Transform ours = arm.userFlangePose(j);
    for (const KDL::Vector& p :
         {KDL::Vector(0, 0, 0), KDL::Vector(1, 0, 0), KDL::Vector(0, 1, 0), KDL::Vector(0, 0, 1)}) {
      const KDL::Vector theirs = frame * p * 1000.0;
      const Pos mine = ours.transform(Pos{p.x() * 1000.0, p.y() * 1000.0, p.z() * 1000.0});
      ASSERT_LE((mine - Pos{theirs.x(), theirs.y(), theirs.z()}).norm(), kKdlTolerance)
          << "at " << j.toString();
    }
  }
}

// ---- The same files read into a KDL chain ----

TEST(UrdfAgainstKdl, SmallOrthoParallelArm) {
  expectSameAsKdl(test::kSmallArmUrdf, "world", "tool0");
}

TEST(UrdfAgainstKdl, LargeOrthoParallelArm) {
  expectSameAsKdl(test::kLargeArmUrdf, "base_link", "tool0");
}

TEST(UrdfAgainstKdl, CollaborativeArmWithItsFlangeMoved) {
  expectSameAsKdl(test::kCollaborativeArmUrdf, "world", "flange");
}

// ---- Files ----

TEST(UrdfFile, ReadsTheSameArmAsTheText) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / "zorrob_import_small_arm.urdf";
  std::ofstream(path) << test::kSmallArmUrdf;
  const ImportedArm fromFile = ArmFromUrdfFile(path.string(), "base_link", "tool0");
  const ImportedArm fromText = ArmFromUrdf(test::kSmallArmUrdf, "base_link", "tool0");
  std::filesystem::remove(path);
  EXPECT_EQ(fromFile.robot.jointAxes, fromText.robot.jointAxes);
  EXPECT_EQ(fromFile.robot.jointPoints, fromText.robot.jointPoints);
  EXPECT_EQ(fromFile.robot.flangeHome.translation, fromText.robot.flangeHome.translation);
}

TEST(UrdfFile, RejectsAMissingFile) {
  EXPECT_THROW_MSG(ArmFromUrdfFile("/nonexistent/arm.urdf", "a", "b"), std::invalid_argument,
                   "URDF: cannot read file '/nonexistent/arm.urdf'");
}

TEST(UrdfFile, RejectsADirectory) {
  const std::string dir = std::filesystem::temp_directory_path().string();
  EXPECT_THROW_MSG(ArmFromUrdfFile(dir, "a", "b"), std::invalid_argument,
                   ("URDF: cannot read file '" + dir + "'").c_str());
}

// ---- Rejections ----

TEST(Urdf, RejectsTextThatIsNotADescription) {
  EXPECT_THROW_MSG(ArmFromUrdf("", "a", "b"), std::invalid_argument,
                   "URDF: the document cannot be read");
  EXPECT_THROW_MSG(ArmFromUrdf("<robot name=\"x\"><link name=", "a", "b"), std::invalid_argument,
                   "URDF: the document cannot be read");
}

TEST(Urdf, RejectsANameGivenTwiceNamingIt) {
  EXPECT_THROW_MSG(ArmFromUrdf(replaced(test::kSmallArmUrdf, R"(<link name="camera"/>)",
                                        R"(<link name="camera"/><link name="link_2"/>)"),
                               "world", "tool0"),
                   std::invalid_argument, "URDF: link 'link_2' is defined twice");
  EXPECT_THROW_MSG(ArmFromUrdf(replaced(test::kSmallArmUrdf, R"(<joint name="camera_mount")",
                                        R"(<joint name="joint_2")"),
                               "world", "tool0"),
                   std::invalid_argument, "URDF: joint 'joint_2' is defined twice");
}

TEST(Urdf, RejectsAJointWithAMissingLinkNamingBoth) {
  EXPECT_THROW_MSG(ArmFromUrdf(replaced(test::kSmallArmUrdf, R"(<child link="link_2"/>)",
                                        R"(<child link="link_9"/>)"),
                               "world", "tool0"),
                   std::invalid_argument,
                   "URDF: joint 'joint_2' names child link 'link_9', which is not defined");
  EXPECT_THROW_MSG(ArmFromUrdf(replaced(test::kSmallArmUrdf, R"(<parent link="link_2"/>)",
                                        R"(<parent link="Link_2"/>)"),
                               "world", "tool0"),
                   std::invalid_argument,
                   "URDF: joint 'joint_3' names parent link 'Link_2', which is not defined");
  EXPECT_THROW_MSG(DefaultUrdfChain(replaced(test::kSmallArmUrdf, R"(<child link="link_2"/>)", "")),
                   std::invalid_argument, "URDF: joint 'joint_2' names no child link");
  EXPECT_THROW_MSG(
      DefaultUrdfChain(replaced(test::kSmallArmUrdf, R"(<parent link="link_1"/>)", R"(<parent/>)")),
      std::invalid_argument, "URDF: joint 'joint_2' names no parent link");
}

TEST(Urdf, RejectsAMissingBaseOrTipLink) {
  EXPECT_THROW_MSG(ArmFromUrdf(test::kSmallArmUrdf, "nowhere", "tool0"), std::invalid_argument,
                   "URDF: no link 'nowhere'");
  EXPECT_THROW_MSG(ArmFromUrdf(test::kSmallArmUrdf, "world", "nowhere"), std::invalid_argument,
                   "URDF: no link 'nowhere'");
}

TEST(Urdf, RejectsATipThatIsNotBelowTheBase) {
  EXPECT_THROW_MSG(ArmFromUrdf(test::kSmallArmUrdf, "link_3", "link_1"), std::invalid_argument,
                   "URDF: link 'link_1' is not below link 'link_3'");
  EXPECT_THROW_MSG(ArmFromUrdf(test::kSmallArmUrdf, "camera", "tool0"), std::invalid_argument,
                   "URDF: link 'tool0' is not below link 'camera'");
}

TEST(Urdf, RejectsPrismaticFloatingAndPlanarJoints) {
  const std::string revolute = R"(name="joint_3" type="revolute")";
  EXPECT_THROW_MSG(
      ArmFromUrdf(replaced(test::kSmallArmUrdf, revolute, R"(name="joint_3" type="prismatic")"),
                  "world", "tool0"),
      std::invalid_argument, "URDF: joint 'joint_3' is prismatic");
  EXPECT_THROW_MSG(
      ArmFromUrdf(replaced(test::kSmallArmUrdf, revolute, R"(name="joint_3" type="floating")"),
                  "world", "tool0"),
      std::invalid_argument, "URDF: joint 'joint_3' is floating");
  EXPECT_THROW_MSG(
      ArmFromUrdf(replaced(test::kSmallArmUrdf, revolute, R"(name="joint_3" type="planar")"),
                  "world", "tool0"),
      std::invalid_argument, "URDF: joint 'joint_3' is planar");
}

TEST(Urdf, RejectsAMimicJoint) {
  const std::string text = replaced(test::kSmallArmUrdf, R"(<parent link="link_2"/>)",
                                    R"(<parent link="link_2"/><mimic joint="joint_2"/>)");
  EXPECT_THROW_MSG(ArmFromUrdf(text, "world", "tool0"), std::invalid_argument,
                   "URDF: joint 'joint_3' mimics another joint");
}

TEST(Urdf, RejectsAMovingSideBranch) {
  const std::string text =
      replaced(test::kSmallArmUrdf, "</robot>",
               R"(<link name="finger"/><joint name="side" type="continuous"><parent link="link_3"/>
         <child link="finger"/><axis xyz="0 0 1"/></joint></robot>)");
  EXPECT_THROW_MSG(ArmFromUrdf(text, "world", "tool0"), std::invalid_argument,
                   "URDF: link 'link_3' branches off the chain at moving joint 'side'");
}

TEST(Urdf, RejectsAJointThatIsItsOwnLinksParent) {
  const std::string text =
      replaced(test::kSmallArmUrdf, R"(<parent link="link_1"/><child link="link_2"/>)",
               R"(<parent link="link_2"/><child link="link_2"/>)");
  EXPECT_THROW_MSG(ArmFromUrdf(text, "world", "tool0"), std::invalid_argument,
                   "URDF: link 'link_2' lies on a loop of joints");
}

TEST(Urdf, RejectsAChainWithoutSixMovingJoints) {
  EXPECT_THROW_MSG(ArmFromUrdf(test::kSmallArmUrdf, "link_1", "tool0"), std::invalid_argument,
                   "URDF: the chain from 'link_1' to 'tool0' has 5 moving joints, not 6");
  EXPECT_THROW_MSG(ArmFromUrdf(test::kSmallArmUrdf, "tool0", "tool0"), std::invalid_argument,
                   "URDF: the chain from 'tool0' to 'tool0' has 0 moving joints, not 6");
}

TEST(Urdf, RejectsAZeroAxis) {
  const std::string text =
      replaced(test::kSmallArmUrdf, R"(<origin xyz="0 0 0.19"/><axis xyz="0 1 0"/>)",
               R"(<origin xyz="0 0 0.19"/><axis xyz="0 0 0"/>)");
  EXPECT_THROW_MSG(ArmFromUrdf(text, "world", "tool0"), std::invalid_argument,
                   "URDF: joint 'joint_2' has a zero axis");
}

TEST(Urdf, RejectsLengthsThatOverflowInMillimetres) {
  const std::string text =
      replaced(test::kSmallArmUrdf, R"(<origin xyz="0.302 0 0"/>)", R"(<origin xyz="1e306 0 0"/>)");
  EXPECT_THROW_MSG(ArmFromUrdf(text, "world", "tool0"), std::invalid_argument,
                   "the arm's joint axes, points and flange must be finite");
}

TEST(Urdf, RejectsAnArmOutsideTheLibraryForm) {
  const std::string text =
      replaced(test::kSmallArmUrdf, R"(<origin xyz="0 0 0.1" rpy="0 0 0"/><axis xyz="0 0 1"/>)",
               R"(<origin xyz="0 0 0.1" rpy="0 0 0"/><axis xyz="0 0 -1"/>)");
  EXPECT_THROW_MSG(ArmFromUrdf(text, "world", "tool0"), std::invalid_argument,
                   "joint 1 must turn about the base z axis, upwards (shoulder configuration "
                   "and singularity)");
}

TEST(Urdf, BrokenAssumptionsGetTheMessagesOfEveryOtherForm) {
  // Joint 5 along joint 4 (and so along joint 6): the wrist axes, before the wrist centre.
  const std::string joint5 = R"(<origin xyz="0.302 0 0"/><axis xyz="0 1 0"/>)";
  EXPECT_THROW_MSG(
      ArmFromUrdf(
          replaced(test::kSmallArmUrdf, joint5, R"(<origin xyz="0.302 0 0"/><axis xyz="1 0 0"/>)"),
          "world", "tool0"),
      std::invalid_argument,
      "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)");
  // Lengths of 1e200 m: finite, but beyond any arm.
  EXPECT_THROW_MSG(ArmFromUrdf(replaced(test::kSmallArmUrdf, joint5,
                                        R"(<origin xyz="1e200 0 0"/><axis xyz="0 1 0"/>)"),
                               "world", "tool0"),
                   std::invalid_argument,
                   "the arm's joint points and flange must lie within 1e7 mm of the base");
  // Every length zero: the axes of joints 2 and 3 on one line.
  std::string zero = test::kSmallArmUrdf;
  for (const char* origin : {R"(xyz="0 0 0.1")", R"(xyz="0 0 0.19")", R"(xyz="0 0 0.27")",
                             R"(xyz="0 0 0.07")", R"(xyz="0.302 0 0")", R"(xyz="0.072 0 0")"})
    zero = replaced(zero, origin, R"(xyz="0 0 0")");
  EXPECT_THROW_MSG(ArmFromUrdf(zero, "world", "tool0"), std::invalid_argument,
                   "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)");
}

TEST(Urdf, AcceptsValidButUnusualArms) {
  // The wrist axes reversed and the flange on the wrist centre.
  std::string text = replaced(test::kSmallArmUrdf, R"(<origin xyz="0 0 0.07"/><axis xyz="1 0 0"/>)",
                              R"(<origin xyz="0 0 0.07"/><axis xyz="-1 0 0"/>)");
  text = replaced(text, R"(<origin xyz="0.302 0 0"/><axis xyz="0 1 0"/>)",
                  R"(<origin xyz="0.302 0 0"/><axis xyz="0 -1 0"/>)");
  text = replaced(text, R"(<axis xyz="1 0 0"/>
  </joint>)",
                  R"(<axis xyz="-1 0 0"/>
  </joint>)");
  text = replaced(text, R"(xyz="0.072 0 0")", R"(xyz="0 0 0")");
  const ImportedArm reversed = ArmFromUrdf(text, "world", "tool0");
  EXPECT_EQ(reversed.robot.jointAxes[3], (Vec3{-1, 0, 0}));
  EXPECT_EQ(reversed.robot.jointAxes[4], (Vec3{0, -1, 0}));
  EXPECT_EQ(reversed.robot.jointAxes[5], (Vec3{-1, 0, 0}));
  EXPECT_EQ(reversed.robot.getWcpZOffset(), 0.0);
  EXPECT_FALSE(reversed.flangeMoved());
  // A joint whose range leaves zero out: its home is the end of the range nearest zero.
  const ImportedArm raised = ArmFromUrdf(
      replaced(test::kSmallArmUrdf, R"(lower="-1.9198621771937625" upper="1.9198621771937625")",
               R"(lower="0.25" upper="1.9198621771937625")"),
      "world", "tool0");
  EXPECT_EQ(raised.robot.homeJoint.values[1], raised.robot.jointMin[1]);
  EXPECT_EQ(raised.robot.homeJoint, RobJoint(0, raised.robot.jointMin[1], 0, 0, 0, 0));
  EXPECT_GT(raised.robot.jointMin[1], 14.3);
}

// ---- The default chain ----

TEST(DefaultUrdfChain, IsTheRootAndTheOnlyLeafSixMovingJointsBelow) {
  const UrdfChainEnds small = DefaultUrdfChain(test::kSmallArmUrdf);
  EXPECT_EQ(small.base, "world");
  EXPECT_EQ(small.tip, "tool0");
  const UrdfChainEnds large = DefaultUrdfChain(test::kLargeArmUrdf);
  EXPECT_EQ(large.base, "base_link");
  EXPECT_EQ(large.tip, "tool0");
  const UrdfChainEnds collaborative = DefaultUrdfChain(test::kCollaborativeArmUrdf);
  EXPECT_EQ(collaborative.base, "world");
  EXPECT_EQ(collaborative.tip, "flange");
}

TEST(DefaultUrdfChain, RejectsADescriptionWithoutSuchALeaf) {
  const std::string text = replaced(test::kSmallArmUrdf, R"(name="joint_6" type="continuous")",
                                    R"(name="joint_6" type="fixed")");
  EXPECT_THROW_MSG(DefaultUrdfChain(text), std::invalid_argument,
                   "URDF: no leaf link lies six moving joints below root 'world'");
}

TEST(DefaultUrdfChain, RejectsADescriptionWithSeveralSuchLeaves) {
  const std::string text = replaced(test::kSmallArmUrdf, "</robot>",
                                    R"(<link name="marker"/><joint name="marker_mount" type="fixed">
                  <parent link="link_6"/><child link="marker"/></joint></robot>)");
  EXPECT_THROW_MSG(DefaultUrdfChain(text), std::invalid_argument,
                   "URDF: several leaf links lie six moving joints below root 'world': "
                   "'marker', 'tool0'");
}

TEST(DefaultUrdfChain, RejectsALoopOfJointsCutOffFromTheRoot) {
  const std::string text =
      replaced(test::kSmallArmUrdf, R"(<parent link="link_1"/><child link="link_2"/>)",
               R"(<parent link="link_2"/><child link="link_2"/>)");
  // The loop hangs below no link the root reaches, so no leaf lies six joints below the root.
  EXPECT_THROW_MSG(DefaultUrdfChain(text), std::invalid_argument,
                   "URDF: no leaf link lies six moving joints below root 'world'");
}

TEST(DefaultUrdfChain, RejectsTextThatIsNotADescription) {
  EXPECT_THROW_MSG(DefaultUrdfChain("not xml"), std::invalid_argument,
                   "URDF: the document cannot be read");
}

}  // namespace
}  // namespace zor::rob
