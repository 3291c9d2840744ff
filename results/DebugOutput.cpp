// In a unit of its own so that a program can link another one and see what the parser says.
#include "results/TDiagnosticResultParser.h"

// Kept on purpose: the texts are built and discarded. An administrator learns of a mistake in
// the message file only by its text missing from the record.
void TDiagnosticResultParser::DebugOutput(NKVRHVX20::ILogger::EHVXLogSeverity, std::string) {}
