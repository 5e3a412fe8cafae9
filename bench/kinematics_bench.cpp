// Forward kinematics, robot targets, Jacobians and the singularity test of the default arm,
// timed against the same work done by Orocos KDL on the same arm.
//
// Before anything is timed, both libraries are run on every sampled joint vector and compared:
// the flange pose, the space Jacobian and the body Jacobian (KDL's Jacobian gives the velocity of
// the end-effector point in base coordinates, linear part first; it is converted before the
// comparison). A disagreement aborts the run with a message.
//
//   kinematics_bench [--check-only] [Google Benchmark flags]
//
// --check-only runs the agreement check and exits (0 on agreement), timing nothing.

#include <benchmark/benchmark.h>

#include <array>
#include <cmath>
#include <cstdio>
#include <kdl/chain.hpp>
#include <kdl/chainfksolverpos_recursive.hpp>
#include <kdl/chainjnttojacsolver.hpp>
#include <kdl/frames.hpp>
#include <kdl/jacobian.hpp>
#include <kdl/jntarray.hpp>
#include <random>
#include <string>
#include <vector>

#include "kdl_reference.hpp"
#include "zor/rob/robot_config.hpp"

namespace {

using zor::rob::GeometricJacobian;
using zor::rob::RobJoint;
using zor::rob::RobotConfig;
using zor::rob::Transform;
using zor::rob::bench::kSamples;

/// Agreement tolerances: positions and linear Jacobian entries in mm (arm lengths ~1000 mm),
/// rotation-matrix and angular entries dimensionless.
constexpr double kLengthTolerance = 1e-9;
constexpr double kUnitTolerance = 1e-12;

/// The arm built once: ours, KDL's chain, and the sampled joint vectors in both units.
struct Fixture {
  RobotConfig robot = zor::rob::DefaultArm();
  KDL::Chain chain;
  std::vector<RobJoint> joints;          // degrees
  std::vector<KDL::JntArray> kdlJoints;  // radians
  std::vector<zor::rob::PoseTemplate<double>> flangePoses;

  Fixture() : chain(zor::rob::bench::KdlChain(robot)) {
    std::mt19937_64 engine(20240601);
    for (std::size_t s = 0; s < kSamples; ++s) {
      RobJoint j;
      for (std::size_t k = 0; k < 6; ++k)
        j.values[k] =
            std::uniform_real_distribution<double>(robot.jointMin[k], robot.jointMax[k])(engine);
      joints.push_back(j);
      kdlJoints.push_back(zor::rob::bench::ToKdlJoints(j));
      const Transform t = robot.getWristPoseInBase(j);
      flangePoses.push_back({t.translation.toPos(), t.rotation.toOrient()});
    }
  }
};

Fixture& fixture() {
  static Fixture f;
  return f;
}

[[noreturn]] void disagree(std::size_t sample, const std::string& what, double ours,
                           double theirs) {
  std::array<char, 96> values{};
  std::snprintf(values.data(), values.size(), "ours %.17g, KDL %.17g", ours, theirs);
  zor::rob::bench::Fail("kinematics_bench", "the libraries disagree on sample " +
                                                std::to_string(sample) + " (" + what +
                                                "): " + values.data());
}

void expectNear(std::size_t sample, const std::string& what, double ours, double theirs,
                double tolerance) {
  if (!(std::abs(ours - theirs) <= tolerance))
    disagree(sample, what, ours, theirs);
}

/// Compares both libraries on every sample; exits with a message on the first disagreement.
void checkAgreement() {
  Fixture& f = fixture();
  KDL::ChainFkSolverPos_recursive fk(f.chain);
  KDL::ChainJntToJacSolver jacSolver(f.chain);
  KDL::Frame frame;
  KDL::Jacobian kdlJac(6);
  for (std::size_t s = 0; s < kSamples; ++s) {
    if (fk.JntToCart(f.kdlJoints[s], frame) < 0)
      disagree(s, "KDL forward kinematics failed", 0, 0);
    if (jacSolver.JntToJac(f.kdlJoints[s], kdlJac) < 0)
      disagree(s, "KDL Jacobian failed", 0, 0);

    // Flange pose: position and rotation matrix (from getWristPoseInBase and getRobTarget).
    const Transform t = f.robot.getWristPoseInBase(f.joints[s]);
    const zor::rob::RobTarget target = f.robot.getRobTarget(f.joints[s]);
    const zor::rob::PosTemplate<double> p = t.translation.toPos();
    for (int k = 0; k < 3; ++k) {
      const double ours = k == 0 ? p.x : (k == 1 ? p.y : p.z);
      const double targetPos =
          k == 0 ? target.pose.pos.x : (k == 1 ? target.pose.pos.y : target.pose.pos.z);
      expectNear(s, "flange position " + std::to_string(k), ours, frame.p(k), kLengthTolerance);
      expectNear(s, "target position " + std::to_string(k), targetPos, frame.p(k),
                 kLengthTolerance);
    }
    const zor::rob::Orient& o = target.pose.orient;
    const Eigen::Matrix3d r =
        Eigen::Quaterniond(t.rotation.w, t.rotation.x, t.rotation.y, t.rotation.z)
            .toRotationMatrix();
    const Eigen::Matrix3d rt = Eigen::Quaterniond(o.q1, o.q2, o.q3, o.q4).toRotationMatrix();
    for (int a = 0; a < 3; ++a) {
      for (int b = 0; b < 3; ++b) {
        const std::string at = std::to_string(a) + "," + std::to_string(b);
        expectNear(s, "flange rotation " + at, r(a, b), frame.M(a, b), kUnitTolerance);
        expectNear(s, "target rotation " + at, rt(a, b), frame.M(a, b), kUnitTolerance);
      }
    }

    // KDL's column c is (v_c + ω_c × p, ω_c): the velocity of the flange origin p, then the
    // angular velocity, both in base coordinates. Ours is (ω_c, v_c) with v_c the velocity of
    // the point at the base origin; the body column is (Rᵀ ω_c, Rᵀ (v_c + ω_c × p)).
    const GeometricJacobian js = f.robot.getSpaceJacobian(f.joints[s]);
    const GeometricJacobian jb = f.robot.getBodyJacobian(f.joints[s]);
    const Eigen::Vector3d pe(p.x, p.y, p.z);
    for (int c = 0; c < 6; ++c) {
      const Eigen::Vector3d w = js.matrix.block<3, 1>(0, c);
      const Eigen::Vector3d vEnd = js.matrix.block<3, 1>(3, c) + w.cross(pe);
      const Eigen::Vector3d wBody = r.transpose() * w;
      const Eigen::Vector3d vBody = r.transpose() * vEnd;
      for (int k = 0; k < 3; ++k) {
        const std::string at = std::to_string(k) + "," + std::to_string(c);
        expectNear(s, "space Jacobian angular " + at, w(k), kdlJac.data(k + 3, c), kUnitTolerance);
        expectNear(s, "space Jacobian linear " + at, vEnd(k), kdlJac.data(k, c), kLengthTolerance);
        expectNear(s, "body Jacobian angular " + at, jb.matrix(k, c), wBody(k), kUnitTolerance);
        expectNear(s, "body Jacobian linear " + at, jb.matrix(k + 3, c), vBody(k),
                   kLengthTolerance);
      }
    }
  }
}

// One call per iteration, cycling through the samples.

void BM_WristPoseInBase(benchmark::State& state) {
  const Fixture& f = fixture();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getWristPoseInBase(f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_WristPoseInBase);

void BM_RobTarget(benchmark::State& state) {
  const Fixture& f = fixture();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getRobTarget(f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_RobTarget);

void BM_SpaceJacobian(benchmark::State& state) {
  const Fixture& f = fixture();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getSpaceJacobian(f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_SpaceJacobian);

void BM_BodyJacobian(benchmark::State& state) {
  const Fixture& f = fixture();
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(f.robot.getBodyJacobian(f.joints[s]));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_BodyJacobian);

void BM_IsConfSingular(benchmark::State& state) {
  Fixture& f = fixture();
  RobotConfig robot = f.robot;  // isConfSingular is not const
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(robot.isConfSingular(f.joints[s], f.flangePoses[s], 0.001, 0.001));
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_IsConfSingular);

void BM_KdlForwardKinematics(benchmark::State& state) {
  const Fixture& f = fixture();
  KDL::ChainFkSolverPos_recursive fk(f.chain);
  KDL::Frame frame;
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(fk.JntToCart(f.kdlJoints[s], frame));
    benchmark::DoNotOptimize(frame);
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_KdlForwardKinematics);

void BM_KdlJacobian(benchmark::State& state) {
  const Fixture& f = fixture();
  KDL::ChainJntToJacSolver solver(f.chain);
  KDL::Jacobian jac(6);
  std::size_t s = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(solver.JntToJac(f.kdlJoints[s], jac));
    benchmark::DoNotOptimize(jac.data.data());
    s = (s + 1) % kSamples;
  }
}
BENCHMARK(BM_KdlJacobian);

}  // namespace

int main(int argc, char** argv) {
  return zor::rob::bench::RunCheckedBenchmarks(argc, argv, [] {
    checkAgreement();
    std::printf("kinematics_bench: both libraries agree on %zu joint vectors\n", kSamples);
  });
}
