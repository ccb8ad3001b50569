#include "screen.h"

#include <sys/ioctl.h>
#include <unistd.h>

namespace qvant::host {

std::size_t TerminalWidth() {
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 ? size.ws_col : 80;
}

}  // namespace qvant::host
