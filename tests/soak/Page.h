#pragma once

#include <string>

/// Asks the page at the address (http://HOST:PORT/TOKEN/) for its text and for the rows of a tab. Whether
/// both were answered with 200.
bool askPage(const std::string& address);
