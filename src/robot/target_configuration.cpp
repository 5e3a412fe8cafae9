#include "zor/rob/robot_config.hpp"

namespace zor::rob {

TargetConfigurationA TargetConfiguration::toTargetConfigurationA(KinematicConfig kc) const {
  TargetConfigurationA converted;
  converted.joints.reserve(joints.size());
  for (const RobJoint& j : joints)
    converted.joints.push_back(j.toRobJointA(kc));
  converted.confs = confs;
  return converted;
}

}  // namespace zor::rob
