#pragma once
// The script injected into the show page before its own scripts: it defines window.brellow,
// one posting function per command, addEventListener and dispatch.
#include <string>

namespace brellow::bridge {

std::string bootstrapScript();

}  // namespace brellow::bridge
