// Builds a rotation and a pose with the installed library and prints them.

#include <iostream>
#include <zor/rob.hpp>

int main() {
  using namespace zor::rob;

  // A quarter turn about Z, the tool frame 100.5 mm ahead and 250 mm up.
  const Rotation quarterTurn(3.141592653589793 / 2, Dir{0, 0, 1});
  const Pose tool(Pos{100.5, 0, 250}, quarterTurn.toOrient());
  const Pos tip = tool * Pos{0, 0, 10};

  std::cout << "rotation " << quarterTurn.toString() << '\n';
  std::cout << "pose " << tool.toString() << '\n';
  std::cout << "tip " << Pose(tip, Orient{}).toString() << '\n';
  return 0;
}
