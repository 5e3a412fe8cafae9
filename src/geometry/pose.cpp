#include "zor/rob/pose.hpp"

#include "zor/rob/text.hpp"

namespace zor::rob {

template <std::floating_point T>
std::string PoseTemplate<T>::toString() const requires std::same_as<T, double> {
  return '{' + TripleText(pos.x, pos.y, pos.z) + ", " +
         QuaternionText(orient.q1, orient.q2, orient.q3, orient.q4) + '}';
}

template struct PoseTemplate<float>;
template struct PoseTemplate<double>;

}  // namespace zor::rob
