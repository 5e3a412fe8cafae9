// The text of the event kinds and timing limits, and the report's event count.

#include <ostream>

#include "zor/rob/audit.hpp"

namespace zor::rob {

const char* AuditEvent::place() const {
  switch (kind) {
    case AuditEventKind::unreachableTarget:
    case AuditEventKind::noSolutionInConfiguration:
    case AuditEventKind::configurationMismatch:
      return "target";
    default:
      break;
  }
  return corner ? "corner" : "path";
}

std::ostream& operator<<(std::ostream& os, AuditEventKind kind) {
  switch (kind) {
    case AuditEventKind::unreachableTarget:
      return os << "unreachable target";
    case AuditEventKind::noSolutionInConfiguration:
      return os << "no solution in the programmed configuration";
    case AuditEventKind::unreachablePathPoint:
      return os << "unreachable path point";
    case AuditEventKind::configurationChange:
      return os << "configuration change";
    case AuditEventKind::configurationMismatch:
      return os << "configuration mismatch";
    case AuditEventKind::wristSingularity:
      return os << "wrist singularity";
    case AuditEventKind::elbowSingularity:
      return os << "elbow singularity";
    case AuditEventKind::shoulderSingularity:
      return os << "shoulder singularity";
    case AuditEventKind::jointLimit:
      return os << "joint limit";
    case AuditEventKind::jointJump:
      return os << "joint jump";
    case AuditEventKind::noCircle:
      return os << "no circle";
    case AuditEventKind::zoneShrunk:
      return os << "zone shrunk";
    case AuditEventKind::speedReduced:
      return os << "speed reduced";
  }
  os.setstate(std::ios_base::failbit);
  return os;
}

std::ostream& operator<<(std::ostream& os, TimingLimit limit) {
  switch (limit) {
    case TimingLimit::none:
      return os << "none";
    case TimingLimit::tcpSpeed:
      return os << "tcp speed";
    case TimingLimit::orientationSpeed:
      return os << "orientation speed";
    case TimingLimit::jointSpeed:
      return os << "joint speed";
    case TimingLimit::jointAcceleration:
      return os << "joint acceleration";
    case TimingLimit::tcpAcceleration:
      return os << "tcp acceleration";
  }
  os.setstate(std::ios_base::failbit);
  return os;
}

std::size_t AuditReport::eventCount() const {
  std::size_t n = 0;
  for (const MoveAudit& m : moves)
    n += m.events.size();
  return n;
}

bool AuditReport::clean() const {
  for (const MoveAudit& m : moves)
    for (const AuditEvent& e : m.events)
      if (e.kind != AuditEventKind::speedReduced)
        return false;
  return true;
}

}  // namespace zor::rob
