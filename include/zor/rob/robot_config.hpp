#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <iosfwd>
#include <optional>
#include <vector>

#include "zor/rob/conf_data.hpp"
#include "zor/rob/export.hpp"
#include "zor/rob/ik_results.hpp"
#include "zor/rob/joints.hpp"
#include "zor/rob/pose.hpp"
#include "zor/rob/screw.hpp"
#include "zor/rob/targets.hpp"
#include "zor/rob/vectors.hpp"

namespace zor::rob {

/// The kind of arm singularity a joint solution stands in (see RobotConfig::isConfSingular).
enum class SingularityType {
  none = 0,      ///< Not singular.
  wrist = 1,     ///< Joint 5 at zero: the axes of joints 4 and 6 are aligned.
  elbow = 2,     ///< The forearm stretched (joint 3 at -elbowOffset).
  shoulder = 3,  ///< The wrist centre on the axis of joint 1.
};

/// Writes "none", "wrist", "elbow" or "shoulder"; for any other value writes nothing and sets
/// the stream's failbit.
ZORROB_API std::ostream& operator<<(std::ostream& os, SingularityType type);

/// How close to each singularity a configuration counts as near it (strict comparisons).
struct SingularityMargins {
  double wristDeg{1.0};     ///< |joint 5| below this (degrees): near the wrist singularity.
  double elbowDeg{1.0};     ///< |elbowOffset · 180/π + joint 3| below this (degrees): elbow.
  double shoulderMm{10.0};  ///< Wrist centre nearer than this (mm) to joint 1's axis: shoulder.
};

/// The singularities a configuration is near, each tested on its own: several may hold at once.
struct Singularities {
  bool wrist{false};
  bool elbow{false};
  bool shoulder{false};

  /// \returns the first that holds in the order wrist, elbow, shoulder; none when none does.
  constexpr SingularityType first() const {
    return wrist ? SingularityType::wrist
                 : (elbow ? SingularityType::elbow
                          : (shoulder ? SingularityType::shoulder : SingularityType::none));
  }

  constexpr bool operator==(const Singularities&) const = default;
};

/// The kinematic model of a six-joint serial arm with revolute joints, in product-of-exponentials
/// form: each joint is a screw axis given in the base frame at the home position (all joints at
/// zero), and the flange pose is e^[S1]θ1 · … · e^[S6]θ6 · M with M = `flangeHome`.
///
/// Units: joint values, joint limits and the home joints in degrees (turned into radians as
/// value · 3.141592653589793 / 180.0 where an exponential is formed), lengths in millimetres,
/// `elbowOffset` in radians. Joint numbers are 0-based (0 = joint 1) in this record.
///
/// The record is filled by its user (or by one of the builders below); then
/// computeScrewAxisInTcp() and initSphericalWrist() are called once, in this order. Invariants
/// the user keeps: `jointAxes` are unit vectors, and `spaceScrewAxes[i]` equals
/// ScrewAxis(jointAxes[i], jointPoints[i]). The forward kinematics uses the axes and points, the
/// Jacobians the screw axes. The flange's z axis at home must point along base +x (see
/// getWcpZOffset).
///
/// Speed: the forward kinematics, the robot target and the Jacobians allocate nothing and cost
/// little beyond one sine/cosine pair per joint. They take axes (and the screws' angular parts)
/// whose squared length lies within 1e-15 of 1 as they are; other axes are normalised on every
/// call, which is slower (a zero axis throws std::overflow_error
/// "0-length vector cannot be normalized.").
struct ZORROB_API RobotConfig {
  /// Screw axis of joints 1 to 6 in the base frame at home.
  std::array<ScrewAxis, 6> spaceScrewAxes{};
  /// The same axes in the flange frame at home; filled by computeScrewAxisInTcp().
  std::array<ScrewAxis, 6> bodyScrewAxes{};
  /// Upper limits (degrees) of joints 1 to 6 at indices 0 to 5; index 6 is the upper limit of
  /// joint 2 + joint 3.
  std::array<double, 7> jointMax{};
  /// Lower limits, laid out like `jointMax`.
  std::array<double, 7> jointMin{};
  /// The home joint values (degrees).
  RobJoint homeJoint{0.0, 0.0, 0.0, 0.0, 0.0, 0.0};
  /// A point (mm) on the axis of each joint, base frame, home position.
  std::array<Pos, 6> jointPoints{};
  /// The flange pose in the base frame at home (the M of the product of exponentials).
  Transform flangeHome{};
  /// Unit direction of each joint axis, base frame, home position.
  std::array<Vec3, 6> jointAxes{};
  /// Radians. Its negative, in degrees, is the joint-3 value at which the forearm is stretched
  /// (elbow singularity) and the threshold of the elbow bit of the configuration number.
  double elbowOffset{0.0};
  /// 1 when the limits of joints 2 and 3 are coupled (the sum limit at index 6 applies); any
  /// other value disables the coupling.
  std::int32_t jointCoupling{0};
  /// True when the axes of joints 4, 5 and 6 meet in one point; set by initSphericalWrist().
  bool sphericalWrist{false};

  /// Tolerance (degrees) of the limit tests.
  static constexpr double kJointLimitTolerance = 1e-6;
  /// The most solutions the "all solutions" queries list (see below).
  static constexpr std::size_t kMaxJointSolutions = 100000;
  /// Largest distance (mm) between the axis points of joints 4, 5 and 6 of a spherical wrist.
  static constexpr double kSphericalWristTolerance = 0.001;

  // Forward kinematics.

  /// \returns the motion of joint `i` (0..5, not checked) turned by `theta` degrees: the
  /// rotation about `jointAxes[i]` through `jointPoints[i]` (rotation R, translation q − R q).
  Transform getJointTransform(double theta, unsigned int i) const;
  /// \returns the flange pose in the base frame for the six joint values (not the wrist centre,
  /// despite the name): e1 · e2 · … · e6 · flangeHome.
  Transform getWristPoseInBase(const RobJoint& joints) const;
  /// \returns the pose of link `i`: the identity for 0, the product of the joint transforms of
  /// joints 0 to i − 1 for 1 to 5, and the flange pose for 6 and above. No link offset is
  /// applied, so getLinkPose(joints, 3) is the frame carried by joint 3.
  Transform getLinkPose(const RobJoint& joints, unsigned int i) const;
  /// \returns the distance (mm) from the wrist centre point to the flange along the flange's z
  /// axis: flangeHome's x translation minus the x of jointPoints[4]. Measured along base x at
  /// home, which is why the flange's z axis must point along base +x at home.
  double getWcpZOffset() const;
  /// \returns the wrist centre point of a flange pose: its position minus its rotation applied
  /// to (0, 0, getWcpZOffset()). Changes nothing, though not declared const. Throws
  /// std::logic_error "normalize quaternion of 0 magnitude" for a zero orientation record.
  Pos tcpToWcp(const Pose& flangePose);
  /// \returns the robot target of the joint values: the flange pose, the configuration
  /// ConfData::FromRobJoint(joints, *this) and all six external axes unused (9E9).
  RobTarget getRobTarget(const RobJoint& joints) const;
  /// \returns getRobTarget(homeJoint).
  RobTarget getHomeTarget() const;
  /// \returns `homeJoint`.
  RobJoint getHomeJoint() const;

  // Limits.

  /// \returns true when |jointMax[i] − jointMin[i]| < 1e-6 degrees; false for `i` above 6.
  bool isFixedJoint(unsigned int i) const;
  /// \returns whether `value` (degrees) is allowed for joint `i` (0-based; index 6 tests the sum
  /// limit; false outside 0..6). With `jointCoupling` 1 and `i` 1 or 2, `otherValue` is the
  /// other joint of the pair 2/3: both values and their sum must lie within their limits widened
  /// by 1e-6 (a value on the widened bound passes). In every case `value` must then lie strictly
  /// inside jointMin[i] − 1e-6 .. jointMax[i] + 1e-6. `otherValue` is ignored otherwise.
  bool isJointAllowed(int i, double value, double otherValue) const;
  /// \returns isJointAllowed for joint `i` (0-based, 0..5; false above) of `joints`, the other
  /// joint of the pair 2/3 taken from `joints`.
  bool isJointAllowedIn(const RobJoint& joints, std::size_t i) const;
  /// \returns the first joint (0-based) of `joints` that isJointAllowedIn rejects, or none when
  /// all six are allowed (the sum limit of joints 2 and 3 included when jointCoupling is 1).
  std::optional<std::size_t> firstJointOutsideLimits(const RobJoint& joints) const;

  // Set-up; call once after the user members are filled, in this order.

  /// Sets `bodyScrewAxes[i]` to the adjoint of flangeHome's inverse applied to
  /// `spaceScrewAxes[i]`. Throws std::logic_error "normalize quaternion of 0 magnitude" for a
  /// zero flange rotation.
  void computeScrewAxisInTcp();
  /// Sets and returns `sphericalWrist`: true when jointPoints[3] and jointPoints[5] each lie less
  /// than 0.001 mm from jointPoints[4] (the points only are compared, not the axes).
  bool initSphericalWrist();

  // First-order kinematics and singularities. Six-vectors are angular part first.

  /// \returns the space Jacobian: column i is joint i's screw axis in the base frame at the
  /// current position, Ad(e^[S0]θ0 ⋯ e^[Si−1]θi−1) Si.
  GeometricJacobian getSpaceJacobian(const RobJoint& joints) const;
  /// \returns the body Jacobian: column i is joint i's screw axis in the flange frame,
  /// Ad(e^−[B5]θ5 ⋯ e^−[Bi+1]θi+1) Bi. Needs computeScrewAxisInTcp().
  GeometricJacobian getBodyJacobian(const RobJoint& joints) const;
  /// \returns the manipulability of the joints: sqrt(det(J Jᵀ)) of the space Jacobian J (its
  /// columns angular part first, so in mm³ per radian⁶ with lengths in mm). For the square
  /// Jacobian of a six-joint arm this is |det J|, which is how it is computed: the product
  /// J Jᵀ would square the rounding and could go slightly negative next to a singularity. The
  /// body Jacobian gives the same value (the adjoint that relates them has determinant 1). Zero
  /// exactly where the arm is singular (up to rounding), never negative.
  double getManipulability(const RobJoint& joints) const;
  /// \returns the velocity, in base coordinates, of the point `point` (base coordinates, mm)
  /// carried by the flange: v + ω × point for the spatial twist (ω, v) = J_s · speeds. The speeds
  /// are used as given (radians per unit time give mm per unit time).
  Vec3 getTcpVelocityInSpace(const Vec3& point, const RobJoint& joints,
                             const JointSpeed& speeds) const;
  /// \returns the first singularity that holds, tested in this order with strict comparisons:
  /// wrist when |joint 5| < jointTolerance (degrees); elbow when
  /// |elbowOffset · 180/π + joint 3| < jointTolerance; shoulder when the wrist centre of
  /// `flangePose` (the flange pose belonging to `joints`) has |x| and |y| below `wcpTolerance`
  /// (mm); none otherwise. Changes nothing, though not declared const.
  ///
  /// Its shoulder test is a square about the base z axis, not singularitiesOf's distance from
  /// the axis of joint 1: it is this query's published contract (a point at (0.2, −0.2) mm is
  /// shoulder-singular for a 0.25 mm tolerance), kept for its callers. The two agree for arms
  /// whose joint 1 turns about the base z axis, up to the corners of the square.
  SingularityType isConfSingular(const RobJoint& joints, const Pose& flangePose,
                                 double jointTolerance, double wcpTolerance);
  /// \returns every singularity `joints` is near within `margins`: wrist when |joint 5| <
  /// wristDeg; elbow when |elbowOffset · 180/π + joint 3| < elbowDeg; shoulder when the wrist
  /// centre of `flangePose` (the flange pose belonging to `joints`) lies nearer than shoulderMm
  /// to the axis of joint 1 (its line through jointPoints[0] along jointAxes[0]; not computed for
  /// a margin of zero or less, which no distance is below).
  Singularities singularitiesOf(const RobJoint& joints, const Pose& flangePose,
                                const SingularityMargins& margins) const;

  // Inverse kinematics.
  //
  // Solutions lie inside the joint limits as isJointAllowed says (the sum limit of joints 2 and
  // 3 included when jointCoupling is 1) and reproduce the flange pose (the rotation its
  // orientation record stands for) through getWristPoseInBase within 1e-9 mm and 1e-12 in the
  // quaternion. Each is paired with exactly ConfData::FromRobJoint(solution, *this). Several
  // solutions may share one configuration: the configuration bits do not separate the branches
  // when joint 3 may bend past the folded elbow, or when a lateral offset puts both shoulder
  // branches on one side of the wrist centre.
  //
  // Closed form: arms whose joints 2 and 3 are parallel (and joint 1 not parallel to them) and
  // whose axes 4, 5 and 6 meet in one point with axis 5 perpendicular to axes 4 and 6, all within
  // 1e-12 (angles) and 1e-10 mm; recognised from `jointAxes`, `jointPoints` and `flangeHome`
  // whatever the home posture, axis signs, offsets and flange frame. Up to 8 branches
  // (2 shoulders × 2 elbows × 2 wrists), each spread over every turn (±360°) of each joint that
  // its limits admit. Singularities, where a joint is free:
  // - wrist (axis 6 turned onto axis 4, joint 5 at zero on the usual arms): joint 4 keeps the
  //   seed's value, 0 without a seed, and joint 6 takes the rest of the turn;
  // - shoulder (wrist centre on the axis of joint 1): joint 1 keeps the seed's value, the home
  //   value without a seed, and the value half a turn from it gives the other shoulder branch;
  // - wrist centre on the axis of joint 2 (equal upper arm and forearm folded): joint 2 keeps the
  //   seed's (or home) value.
  // Branches that coincide (a stretched or folded elbow, the two wrists at joint 5 = 0) are
  // listed once: joints within 1e-7 degrees modulo a turn count as one. On x86-64 processors
  // with AVX2 and FMA the closed form runs a build for those instructions, whose results may
  // differ from other processors' in the last bits.
  //
  // Closed form too: arms whose joints 2, 3 and 4 are parallel (joint 1 not parallel to them),
  // joint 5 perpendicular to joint 4 and joint 6 perpendicular to joint 5, axes 5 and 6 meeting
  // (the collaborative arms with offset wrists), within the same tolerances. Up to 8 branches
  // (2 shoulders × 2 elbows × 2 wrists). Singularities: wrist (joint 6 turned onto the planar
  // axes): joint 6 keeps the seed's value, 0 without a seed; shoulder (joint 1 undetermined) and
  // axis 2 as above.
  //
  // Search: any other arm whose joints 2 and 3 are parallel and whose axes 5 and 6 meet. Joint
  // 4 is sampled at 720 values over the turn; for each, joints 1 to 3 follow in closed form (up
  // to 4 branches) and the residual of joints 5 and 6 is polished to its roots (sign changes by
  // regula falsi, touching minima by golden section, and the branches' ends, where they move as a
  // square root, sampled anew), each root then polished by damped least squares to 1e-10 mm and
  // 1e-12 rad. Up to 16 solutions. It finds every solution whose joint 4 lies farther than a
  // sample step (0.5°) from that of another solution of the same branch; solutions crowded
  // closer, as at a fold of two branches, may merge or be missed.
  //
  // Every other arm: damped least squares on the flange's geometric Jacobian, converged to
  // 1e-10 mm and 1e-12 rad, from the seed (when given) and one seed per configuration (joint 1
  // facing the target or turned away, joint 3 a quarter turn either side of its stretched value,
  // joint 5 at ±45°). It finds the solutions that lie within reach of its seeds, not
  // necessarily all. ikMethod() tells which of the four an arm gets.
  //
  // Order of the lists: ascending configuration number `cfx`, then ascending joint values
  // compared joint 1 first. Throws std::logic_error "normalize quaternion of 0 magnitude" for a
  // zero orientation record; a pose with NaN or infinite entries has no solution.
  //
  // Turns and limits. Every turn inside the limits counts, however wide they are; limits must lie
  // within ±1e9 degrees (std::invalid_argument "the limits of joint N must lie within ±1e9
  // degrees", infinite ones too). The nearest and in-configuration queries choose each joint's
  // turn by arithmetic, at about the cost of limits of one turn. The "all solutions" queries list
  // at most kMaxJointSolutions: beyond, they throw std::length_error "the joint limits admit more
  // than 100000 solutions of the pose", counted before anything is listed. Joint values beyond
  // ±18000° reproduce the pose less closely by their own rounding (about 2e-16 of the value, in
  // radians). Seeds and home joints must be finite (std::invalid_argument "seed joint N must be a
  // finite number", "home joint N ..."); a free joint kept at a seed's value beyond ±18000° takes
  // that value's turn within ±180° first, and then the turn inside the limits nearest the seed.

  /// \returns how the inverse kinematics solves this arm (see above).
  IkMethod ikMethod() const;
  /// \returns every joint solution of the flange pose inside the limits (see above), with the
  /// free joints of a singularity at their values without a seed.
  TargetConfiguration getAllJointSolutions(const Pose& flangePose) const;
  /// The same, with free joints kept at the values of `seed`.
  TargetConfiguration getAllJointSolutions(const Pose& flangePose, const RobJoint& seed) const;
  /// getAllJointSolutions into `solutions` (cleared first, its capacity reused: a caller that
  /// keeps the list allocates nothing once it has grown), with the verdict: found, outOfReach or
  /// outsideJointLimits. `seed` may be null (no seed).
  IkStatus findAllJointSolutions(const Pose& flangePose, const RobJoint* seed,
                                 TargetConfiguration& solutions) const;
  /// \returns every joint solution that puts the tool centre point of `tool` at `target` (in the
  /// object frame of `wobj`; see FlangePoseOfTarget, whose errors it throws).
  TargetConfiguration getAllJointSolutions(const Pose& target, const ToolData& tool,
                                           const WObjData& wobj) const;
  /// \returns the first solution of `target.pose` (in the order of getAllJointSolutions, no
  /// seed) whose configuration matches `target.robConf`: equal `cfx` and equal quadrants of
  /// joints 1, 4 and 6, where a joint within RobJoint::tolerance of zero accepts quadrant 0 or
  /// −1 (ConfData::isCriticalEqual); nothing when there is none.
  std::optional<RobJoint> getJointSolution(const RobTarget& target) const;
  /// \returns the solution of `target` (tool centre point in the object frame) in its
  /// configuration, or nothing.
  std::optional<RobJoint> getJointSolution(const RobTarget& target, const ToolData& tool,
                                           const WObjData& wobj) const;
  /// \returns the solution (free joints at the seed's values) whose largest joint difference to
  /// `seed` is smallest, the first in list order on a tie; nothing when there is none.
  std::optional<RobJoint> getNearestJointSolution(const Pose& flangePose,
                                                  const RobJoint& seed) const;
  /// getJointSolution with the reason when there is none.
  JointSolution findJointSolution(const RobTarget& target) const;
  /// getJointSolution (tool and work object) with the reason when there is none.
  JointSolution findJointSolution(const RobTarget& target, const ToolData& tool,
                                  const WObjData& wobj) const;
  /// getNearestJointSolution with the reason when there is none.
  JointSolution findNearestJointSolution(const Pose& flangePose, const RobJoint& seed) const;
};

// Builders.

/// \returns a RobotConfig ready for use: the given joint axes (unit vectors), axis points (mm),
/// flange home pose, limits (degrees; index 6 is the sum limit of joints 2 and 3), home joints,
/// elbow offset (radians) and coupling flag, with `spaceScrewAxes[i]` =
/// ScrewAxis(jointAxes[i], jointPoints[i]), and computeScrewAxisInTcp() and
/// initSphericalWrist() already run. Throws std::invalid_argument with CheckArmModel's message
/// (zor/rob/arm_import.hpp) for an arm that breaks an assumption of the model.
ZORROB_API RobotConfig MakeRobotConfig(const std::array<Vec3, 6>& jointAxes,
                                       const std::array<Pos, 6>& jointPoints,
                                       const Transform& flangeHome,
                                       const std::array<double, 7>& jointMin,
                                       const std::array<double, 7>& jointMax,
                                       const RobJoint& homeJoint, double elbowOffset,
                                       std::int32_t jointCoupling);

/// The seven lengths (mm) of an ortho-parallel arm with a spherical wrist.
///
/// At home (all joints zero) the upper arm stands vertical, the forearm and the flange point
/// along base +x:
/// - joint 1 turns about base +z through the origin;
/// - joint 2 about +y through (a1, b, c1): `a1` is the base offset along x, `b` the lateral
///   offset along y, `c1` the height of the shoulder;
/// - joint 3 about +y through (a1, b, c1 + c2): `c2` is the upper arm;
/// - the wrist centre lies at (a1 + c3, b, c1 + c2 + a2): `c3` is the forearm along x, `a2` the
///   elbow offset along z (negative: the forearm axis lies below the axis of joint 3);
/// - joint 4 about +x (the forearm axis), joint 5 about +y and joint 6 about +x, all three
///   through the wrist centre;
/// - the flange at (a1 + c3 + c4, b, c1 + c2 + a2), `c4` from the wrist centre, its frame turned
///   by +90° about y (flange z = base +x, flange x = base −z, flange y = base +y).
///
/// By the right-hand rule positive joint-2 values lean the upper arm forward (towards +x) and
/// positive joint-3 and joint-5 values tilt the forearm and the flange down. The forearm is
/// stretched (wrist centre farthest from the axis of joint 2) at joint 3 = atan2(a2, c3) − π/2:
/// pointing straight up along the upper arm; the builder sets `elbowOffset` = π/2 − atan2(a2, c3).
struct OrthoParallelGeometry {
  double a1{0.0};
  double a2{0.0};
  double b{0.0};
  double c1{0.0};
  double c2{0.0};
  double c3{0.0};
  double c4{0.0};
};

/// \returns the RobotConfig of the ortho-parallel arm `geometry` (see OrthoParallelGeometry for
/// the axes, the home pose and the joint directions) with the given limits (degrees; index 6 is
/// the sum limit of joints 2 and 3), home joints and coupling flag, built by MakeRobotConfig:
/// a spherical wrist, getWcpZOffset() = c4 and `elbowOffset` = π/2 − atan2(a2, c3). Throws
/// std::invalid_argument with CheckArmModel's message for lengths, limits or home joints that
/// break an assumption of the model (all lengths zero, the wrist centre on the axis of joint 3,
/// lengths beyond 1e7 mm, ...).
ZORROB_API RobotConfig MakeOrthoParallelArm(const OrthoParallelGeometry& geometry,
                                            const std::array<double, 7>& jointMin,
                                            const std::array<double, 7>& jointMax,
                                            const RobJoint& homeJoint, std::int32_t jointCoupling);

/// \returns the lengths of the library's default arm (mm): a1 = 150, a2 = −110, b = 0,
/// c1 = 450, c2 = 600, c3 = 640, c4 = 100.
ZORROB_API OrthoParallelGeometry DefaultArmGeometry();

/// \returns the default arm: DefaultArmGeometry() with joint limits ±170, −90/+150, −175/+70,
/// ±180, ±125 and ±360 degrees, sum limit of joints 2 and 3 −170/+170 (coupling off), home
/// joints all zero.
ZORROB_API RobotConfig DefaultArm();

}  // namespace zor::rob
