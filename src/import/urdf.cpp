// URDF robot descriptions, read by urdfdom: the chain of joints from the base link to the tip
// link, composed at the zero of the joint values.
#include <console_bridge/console.h>
#include <tinyxml.h>
#include <urdf_model/joint.h>
#include <urdf_model/link.h>
#include <urdf_model/model.h>
#include <urdf_parser/urdf_parser.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <exception>
#include <filesystem>
#include <fstream>
#include <set>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "detail/messages.hpp"
#include "detail/throwers.hpp"
#include "import/library_form.hpp"
#include "zor/rob/angles.hpp"

namespace zor::rob {

namespace {

/// URDF lengths are in metres.
constexpr double kMillimetresPerMetre = 1000.0;
/// The range of a continuous joint that gives none (degrees).
constexpr double kContinuousRange = 360.0;
constexpr std::size_t kArmJoints = 6;

[[noreturn]] void fail(const std::string& what) {
  detail::throwInvalidArgument(detail::msg::kUrdf + what);
}

std::string quoted(const std::string& name) {
  return "'" + name + "'";
}

/// Keeps urdfdom's log quiet while it parses: the library reports through its exceptions and
/// writes nothing to the host's error stream. Restores the host's level afterwards.
class QuietLog {
 public:
  QuietLog() : saved_(console_bridge::getLogLevel()) {
    console_bridge::setLogLevel(console_bridge::CONSOLE_BRIDGE_LOG_NONE);
  }
  ~QuietLog() { console_bridge::setLogLevel(saved_); }
  QuietLog(const QuietLog&) = delete;
  QuietLog& operator=(const QuietLog&) = delete;

 private:
  console_bridge::LogLevel saved_;
};

/// The link an element of a joint names (`<parent link="..."/>`), or nullptr when there is none.
const char* linkOf(const TiXmlElement& joint, const char* role) {
  const TiXmlElement* element = joint.FirstChildElement(role);
  return element == nullptr ? nullptr : element->Attribute("link");
}

/// Why urdfdom refused a well-formed document, where the reason is a link or joint that it
/// names: a name given twice, or a joint whose parent or child link is missing or undefined.
/// Any other refusal is "the document cannot be read". Runs only after a refusal.
[[noreturn]] void failUnreadable(const std::string& text) {
  TiXmlDocument document;
  document.Parse(text.c_str());
  const TiXmlElement* robot = document.Error() ? nullptr : document.FirstChildElement("robot");
  if (robot == nullptr)
    detail::throwInvalidArgument(detail::msg::kUrdfUnreadable);
  std::set<std::string> links;
  for (const TiXmlElement* link = robot->FirstChildElement("link"); link != nullptr;
       link = link->NextSiblingElement("link")) {
    const char* name = link->Attribute("name");
    if (name != nullptr && !links.insert(name).second)
      fail("link " + quoted(name) + detail::msg::kUrdfDefinedTwice);
  }
  std::set<std::string> joints;
  for (const TiXmlElement* joint = robot->FirstChildElement("joint"); joint != nullptr;
       joint = joint->NextSiblingElement("joint")) {
    const char* name = joint->Attribute("name");
    if (name == nullptr)
      continue;
    if (!joints.insert(name).second)
      fail("joint " + quoted(name) + detail::msg::kUrdfDefinedTwice);
    for (const char* role : {"parent", "child"}) {
      const char* link = linkOf(*joint, role);
      if (link == nullptr)
        fail("joint " + quoted(name) + " names no " + role + " link");
      if (links.count(link) == 0)
        fail("joint " + quoted(name) + " names " + role + " link " + quoted(link) +
             detail::msg::kUrdfUndefined);
    }
  }
  detail::throwInvalidArgument(detail::msg::kUrdfUnreadable);
}

urdf::ModelInterfaceSharedPtr parse(std::string_view text) {
  const std::string document(text);
  urdf::ModelInterfaceSharedPtr model;
  try {
    const QuietLog quiet;
    model = urdf::parseURDF(document);
  } catch (const std::exception&) {
    model.reset();
  }
  if (!model || !model->getRoot())
    failUnreadable(document);
  return model;
}

urdf::LinkConstSharedPtr findLink(const urdf::ModelInterface& model, const std::string& name) {
  urdf::LinkConstSharedPtr link = model.getLink(name);
  if (!link)
    detail::throwInvalidArgument(detail::msg::kUrdfNoLink + name + "'");
  return link;
}

bool moving(const urdf::Joint& joint) {
  return joint.type == urdf::Joint::REVOLUTE || joint.type == urdf::Joint::CONTINUOUS;
}

/// Rejects every joint type but revolute, continuous and fixed, and mimicking joints.
void checkJointType(const urdf::Joint& joint) {
  const char* kind = nullptr;
  switch (joint.type) {
    case urdf::Joint::REVOLUTE:
    case urdf::Joint::CONTINUOUS:
    case urdf::Joint::FIXED:
      break;
    case urdf::Joint::PRISMATIC:
      kind = "prismatic";
      break;
    case urdf::Joint::FLOATING:
      kind = "floating";
      break;
    case urdf::Joint::PLANAR:
      kind = "planar";
      break;
    default:
      kind = "of unknown type";
      break;
  }
  if (kind != nullptr)
    fail("joint " + quoted(joint.name) + " is " + kind);
  if (joint.mimic)
    fail("joint " + quoted(joint.name) + detail::msg::kUrdfMimics);
}

/// The joints from `base` down to `tip`, in that order.
std::vector<urdf::JointConstSharedPtr> chainJoints(const urdf::ModelInterface& model,
                                                   const std::string& base,
                                                   const std::string& tip) {
  findLink(model, base);
  urdf::LinkConstSharedPtr link = findLink(model, tip);
  std::vector<urdf::JointConstSharedPtr> joints;
  while (link->name != base) {
    if (!link->parent_joint)
      fail("link " + quoted(tip) + detail::msg::kUrdfNotBelow + base + "'");
    // urdfdom lets a joint name one link as both parent and child: a loop, not a chain.
    if (joints.size() > model.links_.size())
      fail("link " + quoted(link->name) + detail::msg::kUrdfLoop);
    joints.push_back(link->parent_joint);
    link = model.getLink(link->parent_joint->parent_link_name);
  }
  return {joints.rbegin(), joints.rend()};
}

/// Rejects moving joints that leave the chain from a link between its ends.
void checkSideBranches(const urdf::ModelInterface& model,
                       const std::vector<urdf::JointConstSharedPtr>& joints) {
  for (std::size_t k = 0; k + 1 < joints.size(); ++k) {
    const urdf::LinkConstSharedPtr link = model.getLink(joints[k]->child_link_name);
    for (const urdf::JointSharedPtr& side : link->child_joints)
      if (side->name != joints[k + 1]->name && side->type != urdf::Joint::FIXED)
        fail("link " + quoted(link->name) + detail::msg::kUrdfBranches + side->name + "'");
  }
}

/// The joint's origin in its parent's frame, in mm. urdfdom accepts finite numbers only and
/// builds the rotation from roll, pitch and yaw, a unit quaternion.
Transform origin(const urdf::Joint& joint) {
  const urdf::Pose& pose = joint.parent_to_joint_origin_transform;
  const urdf::Rotation& r = pose.rotation;
  const urdf::Vector3& p = pose.position;
  return {Rotation(r.w, r.x, r.y, r.z), Vec3{p.x, p.y, p.z} * kMillimetresPerMetre};
}

}  // namespace

ImportedArm ArmFromUrdf(std::string_view urdfText, const std::string& base,
                        const std::string& tip) {
  const urdf::ModelInterfaceSharedPtr model = parse(urdfText);
  const std::vector<urdf::JointConstSharedPtr> joints = chainJoints(*model, base, tip);
  std::size_t count = 0;
  for (const urdf::JointConstSharedPtr& joint : joints) {
    checkJointType(*joint);
    if (moving(*joint))
      ++count;
  }
  if (count != kArmJoints)
    fail("the chain from " + quoted(base) + " to " + quoted(tip) + " has " + std::to_string(count) +
         " moving joints, not 6");
  checkSideBranches(*model, joints);

  detail::ArmAtZero arm;
  ArmLimits limits;
  Transform frame;
  std::size_t i = 0;
  for (const urdf::JointConstSharedPtr& joint : joints) {
    frame = frame * origin(*joint);
    if (!moving(*joint))
      continue;
    const Vec3 axis{joint->axis.x, joint->axis.y, joint->axis.z};
    if (!(axis.norm() > 0.0))
      fail("joint " + quoted(joint->name) + detail::msg::kUrdfZeroAxis);
    arm.axes[i] = frame.transform(axis / axis.norm());
    arm.points[i] = frame.translation.toPos();
    const bool ranged = joint->limits && joint->limits->lower < joint->limits->upper;
    if (ranged) {
      limits.jointMin[i] = RadToDeg(joint->limits->lower);
      limits.jointMax[i] = RadToDeg(joint->limits->upper);
    } else {
      // A revolute joint always has a range (urdfdom requires one); a continuous one may not.
      limits.jointMin[i] = -kContinuousRange;
      limits.jointMax[i] = kContinuousRange;
    }
    // The description has no home: zero, or the end of a range that leaves zero out.
    limits.homeJoint.values[i] = std::clamp(0.0, limits.jointMin[i], limits.jointMax[i]);
    ++i;
  }
  limits.jointMin[6] = limits.jointMin[1] + limits.jointMin[2];
  limits.jointMax[6] = limits.jointMax[1] + limits.jointMax[2];
  arm.flange = frame;
  return detail::ToLibraryForm(arm, limits);
}

std::string ReadUrdfFile(const std::string& path) {
  // Only a regular file is opened: a FIFO would block the open, a device read without end.
  std::error_code error;
  if (!std::filesystem::is_regular_file(path, error))
    detail::throwInvalidArgument(detail::msg::kUrdfCannotReadFile + path + "'");
  const std::uintmax_t size = std::filesystem::file_size(path, error);
  if (!error && size > kUrdfFileCap)
    detail::throwInvalidArgument(detail::msg::kUrdfFile + path + detail::msg::kUrdfTooLarge);
  std::ifstream file(path, std::ios::binary);
  if (error || !file)
    detail::throwInvalidArgument(detail::msg::kUrdfCannotReadFile + path + "'");
  // One read of the size found above and one byte more, so memory stays within the cap: a file
  // that grew since is refused rather than read in part.
  std::string text(static_cast<std::size_t>(size) + 1, '\0');
  file.read(text.data(), static_cast<std::streamsize>(text.size()));
  if (file.bad() || static_cast<std::uintmax_t>(file.gcount()) > size)
    detail::throwInvalidArgument(detail::msg::kUrdfCannotReadFile + path + "'");
  text.resize(static_cast<std::size_t>(file.gcount()));
  return text;
}

ImportedArm ArmFromUrdfFile(const std::string& path, const std::string& base,
                            const std::string& tip) {
  return ArmFromUrdf(ReadUrdfFile(path), base, tip);
}

UrdfChainEnds DefaultUrdfChain(std::string_view urdfText) {
  const urdf::ModelInterfaceSharedPtr model = parse(urdfText);
  const urdf::LinkConstSharedPtr root = model->getRoot();
  // Depth first without recursion: a description may nest links deeply.
  std::vector<std::pair<urdf::LinkConstSharedPtr, std::size_t>> pending{{root, 0}};
  std::vector<std::string> leaves;
  std::size_t visited = 0;
  while (!pending.empty()) {
    const auto [link, depth] = pending.back();
    pending.pop_back();
    if (++visited > model->links_.size())
      fail("link " + quoted(link->name) + detail::msg::kUrdfLoop);
    if (link->child_links.empty() && depth == kArmJoints)
      leaves.push_back(link->name);
    for (const urdf::LinkSharedPtr& child : link->child_links) {
      const std::size_t step = child->parent_joint->type == urdf::Joint::FIXED ? 0 : 1;
      if (depth + step <= kArmJoints)
        pending.emplace_back(child, depth + step);
    }
  }
  if (leaves.empty())
    detail::throwInvalidArgument(detail::msg::kUrdfNoLeaf + root->name + "'");
  if (leaves.size() > 1) {
    std::sort(leaves.begin(), leaves.end());
    std::string names;
    for (const std::string& leaf : leaves)
      names += (names.empty() ? "" : ", ") + quoted(leaf);
    detail::throwInvalidArgument(detail::msg::kUrdfSeveralLeaves + root->name + "': " + names);
  }
  return {root->name, leaves.front()};
}

}  // namespace zor::rob
