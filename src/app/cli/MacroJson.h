#pragma once

#include <string>
#include <vector>

#include "core/macros/MacroEvaluationResult.h"
#include "core/macros/ParsedMacro.h"

namespace wordloom::cli {

/// The whole evaluation result as pretty JSON with sorted keys.
std::string macroEvaluationResultJson(const MacroEvaluationResult& result);

/// Parsed macros as pretty JSON: each with its type, arguments, range in characters and text.
std::string parsedMacrosJson(const std::vector<ParsedMacro>& macros);

}  // namespace wordloom::cli
