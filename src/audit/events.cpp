// The event kinds' text and the report's event count.

#include <ostream>

#include "zor/rob/audit.hpp"

namespace zor::rob {

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

}  // namespace zor::rob
