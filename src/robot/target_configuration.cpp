#include "zor/rob/robot_config.hpp"

namespace zor::rob {

void TargetConfiguration::add(const RobJoint& j, const ConfData& conf) {
  joints.push_back(j);
  try {
    confs.push_back(conf);
  } catch (...) {
    joints.pop_back();  // keep the two lists paired
    throw;
  }
}

TargetConfigurationA TargetConfiguration::toTargetConfigurationA(KinematicConfig kc) const {
  TargetConfigurationA converted;
  converted.joints.reserve(joints.size());
  for (const RobJoint& j : joints)
    converted.joints.push_back(j.toRobJointA(kc));
  converted.confs = confs;
  return converted;
}

}  // namespace zor::rob
