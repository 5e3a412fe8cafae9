#include "zor/rob/rotation.hpp"

#include <sstream>

namespace zor::rob {

template <std::floating_point T>
std::string RotationTemplate<T>::toString() const {
  // Widened to double so that both instantiations print alike.
  std::ostringstream out;
  out << '{' << static_cast<double>(w) << ", " << static_cast<double>(x) << ", "
      << static_cast<double>(y) << ", " << static_cast<double>(z) << '}';
  return out.str();
}

template struct RotationTemplate<float>;
template struct RotationTemplate<double>;

}  // namespace zor::rob
