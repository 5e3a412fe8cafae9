#include "zor/rob/triangle.hpp"

namespace zor::rob {

template <std::floating_point T>
PosTemplate<T> TriangleTemplate<T>::getCentroid() const {
  const PosTemplate<T> sum = p1 + p2 + p3;
  return {sum.x / T(3), sum.y / T(3), sum.z / T(3)};
}

template <std::floating_point T>
TriangleTemplate<T> TriangleTemplate<T>::transformed(const PoseTemplate<T>& pose) const {
  return {pose * p1, pose * p2, pose * p3};
}

template struct TriangleTemplate<float>;
template struct TriangleTemplate<double>;

}  // namespace zor::rob
