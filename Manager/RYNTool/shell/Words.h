#pragma once

#include <string>
#include <vector>

/// The words of one command. A leaf's handler receives those behind its own word.
using Words = std::vector<std::string>;
