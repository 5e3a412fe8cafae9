#pragma once

// The residuals of the search over joint 4 (see search.hpp): what a pose makes of each sampled
// value of joint 4, for all four branches at once or for one.

#include <array>
#include <cstddef>

#include "ik/search.hpp"

namespace zor::rob::detail {

/// The terms of the target that do not depend on joint 4. Turned back by joint 1 (cos c, sin s),
/// the target's C relative to q2, normal to k2, is t0 + tc c + ts s in the plane's basis, and
/// R1ᵀ R R_Mᵀ k6 = w0 + wc c + ws s.
struct PoseTerms {
  Mat3 rm{};  ///< R R_Mᵀ.
  double a1{0.0};
  double b1{0.0};
  double inverseRho1{0.0};  ///< 1 / √(a1² + b1²).
  double along1{0.0};       ///< (k1·k2) (k1·(Wt − q1)).
  std::array<double, 2> t0{};
  std::array<double, 2> tc{};
  std::array<double, 2> ts{};
  Vec3 w0{};
  Vec3 wc{};
  Vec3 ws{};
  double w2{0.0};  ///< k2·w0 (k2·wc and k2·ws below).
  double w2c{0.0};
  double w2s{0.0};
};

/// The four branches (2 · elbow + joint-1 branch) at one value of joint 4: the residual and
/// whether the branch exists (branches of one joint-1 branch exist together).
struct Residuals {
  std::array<double, 4> f{};
  std::array<bool, 2> valid{};
  bool joint1{false};  ///< Whether joint 1 reaches.
  /// Per joint-1 branch, how far the branch lies beyond its reach: the larger of ratio² − 1 of
  /// joint 1's and of the elbow's equation (cos γ = ratio), negative where it exists. Smooth
  /// away from where the two swap, it locates a branch's end faster than bisection.
  std::array<double, 2> beyond{};
};

/// One branch at one value of joint 4, with what its joints are made from.
struct BranchState {
  CosSin joint1{};
  CosSin elbow{};
  std::array<double, 2> target{};
  std::array<double, 2> reach{};
  Vec3 w{};  ///< R1ᵀ R R_Mᵀ k6.
  double f{0.0};
  double inverseTargetSquared{0.0};
  double elbowBeyond{0.0};  ///< ratio² − 1 of the elbow's equation.
};

/// \returns the part of `v` normal to k2 in the plane's basis.
inline std::array<double, 2> inPlane(const SearchArm& arm, const Vec3& v) {
  return {arm.planeX.dot(v), arm.planeY.dot(v)};
}

/// \returns the terms of the target (rotation `r`, position `p`).
PoseTerms termsOf(const SearchArm& arm, const Mat3& r, const Vec3& p);

/// The four branches at sample `g` into `out`.
void residualsAt(const SearchArm& arm, const PoseTerms& t, const SearchSample& g, Residuals& out);

/// Branch `b` at sample `g` into `s`, its joint-2-and-3 direction (not of unit length) into
/// `dir23`; \returns false where it does not exist.
bool branchAt(const SearchArm& arm, const PoseTerms& t, const SearchSample& g, std::size_t b,
              BranchState& s, CosSin& dir23);

/// The values of joint 4 (radians, within [−π, π)) where joint 1 stops reaching the target,
/// into `out`; \returns how many (at most 4).
std::size_t joint1Ends(const SearchArm& arm, const PoseTerms& t, std::array<double, 4>& out);

}  // namespace zor::rob::detail
