#ifndef VEXAPLATFORM_TOOL_TOOL_ANSWER_H_
#define VEXAPLATFORM_TOOL_TOOL_ANSWER_H_

#include <string>

#include "platform/tool/tool_outcome.h"
#include "platform/tool/tool_plan.h"

namespace vexaplatform {

// What vlibc/process.h answers for a run that is over. Records it for ToolRuns, logs what is to
// be logged, and puts what mv wrote in its place.
int AnswerOf(const ToolPlan& plan, const ToolOutcome& outcome);

// The same, by errno, for a program that could not be run at all: -1, and errno stays.
int AnswerOfRefused(const std::string& program);

}  // namespace vexaplatform

#endif  // VEXAPLATFORM_TOOL_TOOL_ANSWER_H_
