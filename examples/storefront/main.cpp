// The application of a shop. It declares flags (StoreFlags.h), describes its customer and sets up with a
// signed document (Shop.cpp), and then reads its flags in several situations. `./run demo` shows all of them:
// run-demo.sh makes the document and runs this program once for each part.

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "Shop.h"

int main(int argc, char** argv) {
    const std::map<std::string, void (*)(const Paths&, Heard&, Report&)> parts = {
        {"genuine", showGenuine},
        {"tampered", showRefused},
        {"customers", showCustomers},
        {"next-start", showNextStart},
    };
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    // Never destroyed: the library may still call the handlers, which write to it, while the process ends.
    static Heard& heard = *new Heard;
    Report report;
    if (arguments.size() >= 5 && arguments[0] == "live") {
        const Paths paths{arguments[2], arguments[3], arguments[4]};
        configureHost(paths, heard);
        const bool edits = arguments.size() > 5;
        runLive({.service = arguments[1],
                 .paths = paths,
                 .expectsStored = edits,
                 .editedFile = edits ? arguments[5] : "",
                 .stays = arguments.size() > 6 && arguments[6] == "stay"},
                report);
        return report.allWell() ? 0 : 1;
    }
    const auto part = arguments.size() == 4 ? parts.find(arguments[0]) : parts.end();
    if (part == parts.end()) {
        std::fputs("usage: storefront genuine|tampered|customers|next-start DOCUMENT CERTIFICATE FOLDER\n"
                   "       storefront live SERVICE DOCUMENT CERTIFICATE FOLDER [EDITED_FILE [stay]]\n",
                   stderr);
        return 2;
    }
    const Paths paths{arguments[1], arguments[2], arguments[3]};
    configureHost(paths, heard);
    part->second(paths, heard, report);
    return report.allWell() ? 0 : 1;
}
