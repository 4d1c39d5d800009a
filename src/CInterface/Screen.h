#pragma once

namespace kiv {

/// Ends the page that `kiv_screen_present` presents, if any.
void dismissScreen();

} // namespace kiv
