// The library's main job for now: build a rotation and a pose and print them.
#include <iostream>
#include <numbers>

#include "zor/rob/pose.hpp"
#include "zor/rob/rotation.hpp"

int main() {
  using namespace zor::rob;
  const Rotation quarterTurnZ(std::numbers::pi / 2, Dir(0, 0, 1));
  const Pose pose({100.5, 0, 250}, quarterTurnZ.toOrient());
  std::cout << "rotation of pi/2 about z: " << quarterTurnZ.toString() << '\n'
            << "pose:                     " << pose.toString() << '\n';
  const Pos mapped = pose * Pos{1, 0, 0};
  std::cout << "pose * (1, 0, 0):         (" << mapped.x << ", " << mapped.y << ", " << mapped.z
            << ")\n";
}
