#include "zor/rob/pose.hpp"

#include <sstream>

#include "detail/format.hpp"

namespace zor::rob {

template <std::floating_point T>
std::string PoseTemplate<T>::toString() const requires std::same_as<T, double> {
  std::ostringstream orientation;
  orientation << '{' << orient.q1 << ", " << orient.q2 << ", " << orient.q3 << ", " << orient.q4
              << '}';
  return '{' + detail::formatTriple(pos.x, pos.y, pos.z) + ", " + orientation.str() + '}';
}

template struct PoseTemplate<float>;
template struct PoseTemplate<double>;

}  // namespace zor::rob
