#pragma once

// Arms as their users describe them: Denavit-Hartenberg tables, ortho-parallel parameter sets
// with the controller's joint offsets and directions, and URDF robot descriptions. Each reader
// turns its description into a RobotConfig whose joint values are the controller's (or the
// file's) own, checks what the rest of the library assumes of an arm, and reports what it had to
// change.
//
// What every reader checks and does (the "library form" of an arm). Joint values go into the
// model unchanged, so nothing is ever moved from the joints into the model; what cannot be
// brought into the library form by the flange change below is rejected with
// std::invalid_argument and a one-line message that names the joint, the link or the
// assumption.
// - Every coordinate is finite (lengths that overflow when turned into mm are not): "the arm's
//   joint axes, points and flange must be finite".
// - Joint 1 turns about the base z axis, upwards: the shoulder bit of the configuration number
//   compares the wrist centre's direction with joint 1, and the shoulder singularity measures the
//   wrist centre's distance from the base z axis. Otherwise: "joint 1 must turn about the base z
//   axis, upwards (shoulder configuration and singularity)".
// - The axes of joints 2 and 3 are parallel and apart, and the wrist centre lies off the axis of
//   joint 3: the elbow offset (RobotConfig::elbowOffset) is the joint-3 value at which the wrist
//   centre is farthest from the axis of joint 2, measured in the plane across the two axes.
//   Otherwise: "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)", or
//   "the wrist centre must lie off the axis of joint 3 (the elbow offset)".
// - The axes of joints 5 and 6 meet: their meeting point is the wrist centre (for a spherical
//   wrist also on the axis of joint 4). Otherwise: "the axes of joints 5 and 6 must meet (the
//   wrist centre)".
// - Joint 5 at zero lines up the axes of joints 4 and 6: the wrist singularity and the wrist bit
//   of the configuration number are read from joint 5. Otherwise: "joint 5 at zero must line up
//   the axes of joints 4 and 6 (the wrist singularity)".
// - The wrist centre lies on the flange's z axis, behind the flange by getWcpZOffset() (which
//   the library measures along base x at home). When the given flange does not satisfy this,
//   the library's flange is the given flange frame moved, without turning, to the wrist centre
//   (so getWcpZOffset() is 0), and ImportedArm::userFlange holds the given flange in it; see
//   ImportedArm.
// - The joint points are chosen canonically on their axes: joint 1 the point nearest the base
//   origin, joints 2 and 3 the point nearest the previous joint's point, joints 4 to 6 the point
//   nearest the wrist centre. So initSphericalWrist() finds a spherical wrist whenever the three
//   wrist axes meet.

#include <array>
#include <cstdint>
#include <string>
#include <string_view>

#include "zor/rob/export.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/robot_config.hpp"
#include "zor/rob/screw.hpp"

namespace zor::rob {

/// The limits, home joints and coupling flag of an imported arm, in the controller's joint
/// values (degrees). Index 6 of the limits bounds joint 2 + joint 3 and applies when
/// `jointCoupling` is 1.
struct ArmLimits {
  std::array<double, 7> jointMin{-360.0, -360.0, -360.0, -360.0, -360.0, -360.0, -720.0};
  std::array<double, 7> jointMax{360.0, 360.0, 360.0, 360.0, 360.0, 360.0, 720.0};
  RobJoint homeJoint{0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
  std::int32_t jointCoupling{0};
};

/// An imported arm: the model, in the library form, and the flange the description gave.
///
/// When the described flange already meets the wrist-centre assumption, `robot.flangeHome` is
/// the described flange and `userFlange` the identity. Otherwise the library's flange is the
/// described flange frame moved, without turning, to the wrist centre, and `userFlange` is the
/// described flange in the library's flange frame (a pure translation along the old flange's
/// axes). Then every flange pose of `robot` (getWristPoseInBase, getRobTarget, the inverse
/// kinematics) is of the library's flange: userFlangePose() and flangePoseOfUserFlange() undo
/// and redo the change.
struct ZORROB_API ImportedArm {
  RobotConfig robot{};
  /// The described flange frame in the library's flange frame.
  Transform userFlange{};

  /// \returns true when the library's flange is not the described one.
  bool flangeMoved() const;
  /// \returns the described flange's pose for the joint values (degrees):
  /// robot.getWristPoseInBase(joints) · userFlange.
  Transform userFlangePose(const RobJoint& joints) const;
  /// \returns the library flange's pose that puts the described flange at `userPose` (for the
  /// inverse kinematics): userPose · userFlange⁻¹.
  Pose flangePoseOfUserFlange(const Pose& userPose) const;
};

// ---- Arms given in the library form ----

/// Checks every assumption the model makes of an arm in the library form. The builders
/// (MakeRobotConfig, MakeOrthoParallelArm) and every reader of this header run it on the arm they
/// make, so an arm that breaks an assumption gets the same message from each; it is for records
/// filled or edited by hand. The readers check the assumptions of their own description in the
/// same order before they bring it into the library form. Throws std::invalid_argument with the
/// message of the first broken assumption, in this order:
/// - "the arm's joint axes, points and flange must be finite" (also the elbow offset);
/// - "the arm's joint points and flange must lie within 1e7 mm of the base";
/// - "the axis of joint N must be a unit vector" (within 1e-6);
/// - "the flange orientation must be a unit quaternion" (within 1e-6);
/// - "joint 1 must turn about the base z axis, upwards (shoulder configuration and
///   singularity)", through the base origin;
/// - "the axes of joints 1 and 2 must not be parallel (the shoulder)";
/// - "the axes of joints 2 and 3 must be parallel and apart (the elbow offset)";
/// - "joint 5 at zero must line up the axes of joints 4 and 6 (the wrist singularity)";
/// - "the axis of joint 5 must not be parallel to the axes of joints 4 and 6 (the wrist)";
/// - "the axes of joints 5 and 6 must meet (the wrist centre)";
/// - "the wrist centre must lie off the axis of joint 3 (the elbow offset)";
/// - "the elbow offset must be the joint-3 angle, in radians, that stretches the arm (the elbow
///   configuration): X" with X the angle (within 1e-9 rad);
/// - "the wrist centre must lie on the flange's z axis, as far behind the flange as the flange
///   lies beyond the point of joint 5 along base x (the wrist centre of a flange pose)";
/// - "the limits of joint N must be finite, the minimum not above the maximum" (and "the limits
///   of joint 2 + joint 3 ...");
/// - "home joint N must be a finite number", "home joint N must lie within its limits", and with
///   coupling on "home joints 2 + 3 must lie within their sum limits".
/// Directions are compared within 1e-6, points within 1e-6 mm. Points anywhere on their axes,
/// axes pointing either way and offset wrists (axis 4 missing the wrist centre) are accepted.
ZORROB_API void CheckArmModel(const RobotConfig& robot);

// ---- Denavit-Hartenberg tables ----

/// The two placements of the link frames.
enum class DhConvention {
  /// Joint i turns about z of frame i − 1; link i is Rz(θi) · Tz(di) · Tx(ai) · Rx(αi).
  classic,
  /// Joint i turns about z of frame i (Craig); link i is Rx(αi−1) · Tx(ai−1) · Rz(θi) · Tz(di),
  /// and row i holds ai−1 and αi−1.
  modified,
};

/// One row of a Denavit-Hartenberg table: lengths in mm, angles in degrees. The joint angle of
/// the row is θ = `thetaOffset` + the controller's joint value.
struct DhRow {
  double a{0.0};
  double alpha{0.0};
  double d{0.0};
  double thetaOffset{0.0};
};

/// A six-row Denavit-Hartenberg table. Frame 0 is the base frame; frame 6 is the flange.
struct DhTable {
  DhConvention convention{DhConvention::classic};
  std::array<DhRow, 6> rows{};
};

/// \returns the arm of the table with the given limits, in the library form (see the top of
/// this header). Throws std::invalid_argument for a non-finite entry ("DH row N: 'a' must be a
/// finite number", and so for "alpha", "d", "thetaOffset") and for an arm the library form
/// cannot hold.
ZORROB_API ImportedArm ArmFromDh(const DhTable& table, const ArmLimits& limits);

// ---- Ortho-parallel parameter sets ----

/// The seven lengths of an ortho-parallel arm (see OrthoParallelGeometry) with the controller's
/// joint convention. The lengths at the geometry's zero, side view (b offsets joints 2 to 6
/// along y):
///
///     z ^        J3 o - - - - c3 - - - - +
///       |           |                    | a2 (negative: wrist centre below J3)
///       |        c2 |       wrist centre +--- c4 ---> flange (z along +x)
///       |        J2 o
///       |        c1 |
///       +-----------+-----------------------------> x
///       J1 (about +z)  a1
///
/// The geometry's joint value of joint i is
///   θi = signs[i] · qi + offsets[i]   (degrees)
/// for the controller's value qi. The arm is built at the controller's zero (θ = offsets), with
/// each joint axis multiplied by signs[i], so that the controller's values go into getRobTarget
/// unchanged.
struct OrthoParallelParameters {
  OrthoParallelGeometry lengths{};
  /// Degrees: the geometry's joint values at the controller's zero.
  std::array<double, 6> offsets{};
  /// 1 where the controller turns the joint the geometry's way, −1 where it turns it the other.
  std::array<int, 6> signs{1, 1, 1, 1, 1, 1};
};

/// \returns the arm of the parameter set with the given limits (the controller's values), in the
/// library form. Folding: with G_i the product of the geometry's joint motions of joints 1 to i
/// at θ = offsets, joint i's axis is signs[i] · G_i applied to the geometry's axis, its point G_i
/// applied to the geometry's point, and the flange at home G_6 applied to the geometry's flange:
/// e^[S1]θ1 ⋯ e^[S6]θ6 · M equals e^[S'1]q1 ⋯ e^[S'6]q6 · M' for every q. Throws
/// std::invalid_argument for a non-finite length or offset ("ortho-parallel 'c2' must be a
/// finite number", "ortho-parallel offset of joint N must be a finite number"), a sign other than
/// 1 or −1 ("ortho-parallel sign of joint N must be 1 or -1"), and for an arm the library form
/// cannot hold.
ZORROB_API ImportedArm ArmFromOrthoParallel(const OrthoParallelParameters& parameters,
                                            const ArmLimits& limits);

// ---- URDF ----

/// The two ends of the chain the tool reads when none is named: the root link of the
/// description and its only leaf link below exactly six moving joints.
struct UrdfChainEnds {
  std::string base{};
  std::string tip{};
};

/// \returns the arm of the chain of a URDF document (the text of the file) from link `base` to
/// link `tip`, in the library form. Lengths are turned from metres into mm and limits from
/// radians into degrees; each revolute or continuous joint becomes one joint of the arm (its
/// axis and origin at the zero position), fixed joints are folded into their neighbours, and the
/// flange is `tip`'s frame. A continuous joint without a range gets −360 .. 360; the limit of
/// joint 2 + joint 3 is the sum of their limits (coupling off); the home joints are zero, or the
/// end of a joint's range nearest zero when the range leaves zero out.
/// Moving side branches off links between `base` and `tip` are rejected, fixed ones (sensor
/// mounts) ignored. Throws std::invalid_argument with a message naming the link or joint:
/// "URDF: the document cannot be read" for text urdfdom rejects (it accepts finite numbers
/// only), "URDF: no link 'X'",
/// "URDF: link 'T' is not below link 'B'", "URDF: joint 'J' is prismatic" (also "floating",
/// "planar", "of unknown type"), "URDF: joint 'J' mimics another joint", "URDF: joint 'J' has a
/// zero axis", "URDF: link 'L' branches off the chain at moving joint 'J'", "URDF: the chain from
/// 'B' to 'T' has N moving joints, not 6", and for an arm the library form cannot hold.
ZORROB_API ImportedArm ArmFromUrdf(std::string_view urdfText, const std::string& base,
                                   const std::string& tip);

/// The largest URDF file ReadUrdfFile reads: 64 MiB.
inline constexpr std::uintmax_t kUrdfFileCap = std::uintmax_t{64} << 20;

/// \returns the text of the URDF file at `path`. Only a regular file is opened, so a device, a
/// FIFO or a directory is refused at once. Throws std::invalid_argument "URDF: cannot read file
/// 'PATH'" for a file that is not a regular file or cannot be read, and "URDF: file 'PATH' is
/// larger than 67108864 bytes" beyond kUrdfFileCap.
ZORROB_API std::string ReadUrdfFile(const std::string& path);

/// \returns ArmFromUrdf of ReadUrdfFile(path), with its errors.
ZORROB_API ImportedArm ArmFromUrdfFile(const std::string& path, const std::string& base,
                                       const std::string& tip);

/// \returns the root link of the document and its only leaf with exactly six moving joints
/// between them. Throws std::invalid_argument "URDF: the document cannot be read", or "URDF: no
/// leaf link lies six moving joints below root 'R'" / "URDF: several leaf links lie six moving
/// joints below root 'R': 'A', 'B'".
ZORROB_API UrdfChainEnds DefaultUrdfChain(std::string_view urdfText);

}  // namespace zor::rob
