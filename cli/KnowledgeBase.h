// Where the name parser's knowledge base is looked for when no --kb is
// given. Nothing absolute is compiled in: the folder is found at run time,
// so that a copied or installed program still finds its own.
#pragma once

#include <string>
#include <vector>

namespace ncoa_cli {

// Environment variable that names the knowledge base folder.
constexpr const char* kKbEnvironment = "QVNCOA_NAMEKB";

// The places looked at, in order: $QVNCOA_NAMEKB, then each path of
// QV_KB_RELATIVE (':'-separated, set by the build) taken from the folder of
// the program (or of the shared object this code is compiled into).
std::vector<std::string> knowledgeBaseCandidates();

// The first candidate that is a folder; the first candidate when none is, so
// that the library's error names a path the user can act on.
std::string defaultKnowledgeBase();

// "$QVNCOA_NAMEKB, then <bin>/../share/qvncoa/namekb" for help texts.
std::string knowledgeBaseSearchText();

}  // namespace ncoa_cli
