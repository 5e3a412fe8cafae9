// zorrob view and zorrob audit --html: the arm, a program and its audit as one browser page.
#include <fstream>
#include <string>

#include "cli_error.hpp"
#include "commands.hpp"
#include "program_file.hpp"
#include "zor/rob/view.hpp"

namespace zor::rob::cli {

namespace {

void writePage(const std::string& path, const std::string& page) {
  std::ofstream file(path, std::ios::binary);
  if (!(file << page) || !file.flush())
    throw InputError("page file '" + path + "' cannot be written");
}

}  // namespace

std::string writeProgramPage(const std::string& path, const Program& program,
                             const AuditReport& report) {
  ViewOptions options;
  options.title = "zorrob: " + program.source;
  options.labels = program.labels;
  const std::string page = ViewPage(program.arm.config, program.moves, report, options);
  writePage(path, page);
  return page;
}

Report runView(const ViewRequest& request) {
  Report out;
  std::string page;
  Fields fields;
  if (request.programPath) {
    Program program = LoadProgram(*request.programPath);
    if (request.arm)
      program.arm = *request.arm;
    applyStep(program.options, request.stepMm);
    program.options.keepSamples = true;
    const AuditReport report = auditProgram(program);
    page = writeProgramPage(request.outputPath, program, report);
    fields.add("program", program.source);
    fields.add("arm", program.arm.name + " (" + program.arm.source + ")");
    fields.add("samples", std::to_string(report.samples.size()));
    fields.add("events", std::to_string(report.eventCount()));
    out.json = {{"program", program.source},
                {"arm", {{"name", program.arm.name}, {"source", program.arm.source}}},
                {"samples", report.samples.size()},
                {"events", report.eventCount()}};
  } else {
    const Arm arm = request.arm ? *request.arm : defaultArm();
    ViewOptions options;
    options.title = "zorrob: " + arm.name;
    page = ViewPage(arm.config, options);
    writePage(request.outputPath, page);
    fields.add("arm", arm.name + " (" + arm.source + ")");
    out.json = {{"arm", {{"name", arm.name}, {"source", arm.source}}}};
  }
  fields.add("page", request.outputPath + " (" + std::to_string(page.size()) + " bytes)");
  out.text = fields.render();
  out.json["page"] = request.outputPath;
  out.json["bytes"] = page.size();
  return out;
}

}  // namespace zor::rob::cli
