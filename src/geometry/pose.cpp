#include "zor/rob/pose.hpp"

#include "detail/format.hpp"

namespace zor::rob {

template <std::floating_point T>
std::string PoseTemplate<T>::toString() const requires std::same_as<T, double> {
  return '{' + detail::formatTriple(pos.x, pos.y, pos.z) + ", " +
         detail::formatQuaternion(orient.q1, orient.q2, orient.q3, orient.q4) + '}';
}

template struct PoseTemplate<float>;
template struct PoseTemplate<double>;

}  // namespace zor::rob
