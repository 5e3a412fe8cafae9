#include "zor/rob/line.hpp"

#include <cmath>

namespace zor::rob {

template <std::floating_point T>
DirTemplate<T> LineTemplate<T>::getDirection() const {
  // Normalised once as a vector and once more when the direction is made: both steps apply the
  // direction rule and either can throw.
  return DirTemplate<T>((end - start).normalized());
}

template <std::floating_point T>
T LineTemplate<T>::getLength() const {
  return (end - start).norm();
}

template <std::floating_point T>
bool LineTemplate<T>::isEmpty() const {
  const Vec3Template<T> d = end - start;
  return std::abs(static_cast<double>(d.x)) <= kEmptyTolerance &&
         std::abs(static_cast<double>(d.y)) <= kEmptyTolerance &&
         std::abs(static_cast<double>(d.z)) <= kEmptyTolerance;
}

template <std::floating_point T>
LineTemplate<T> LineTemplate<T>::transformed(const PoseTemplate<T>& pose) const {
  return {pose * start, pose * end};
}

template struct LineTemplate<float>;
template struct LineTemplate<double>;

}  // namespace zor::rob
