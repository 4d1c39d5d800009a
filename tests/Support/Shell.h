#pragma once

#include <cstdio>
#include <memory>
#include <string>

/// Everything that a shell command writes, to its output and its error output.
inline std::string outputOf(const std::string& command) {
    const std::unique_ptr<FILE, int (*)(FILE*)> pipe(popen(("{ " + command + "; } 2>&1").c_str(), "r"),
                                                     pclose);
    std::string all;
    for (int c = pipe ? std::fgetc(pipe.get()) : EOF; c != EOF; c = std::fgetc(pipe.get())) {
        all += static_cast<char>(c);
    }
    return all;
}

/// The property list in the file as JSON. Python reads it, so that the library does not check itself.
inline std::string plistAsJson(const std::string& path) {
    return outputOf("python3 -c 'import json, plistlib, sys; print(json.dumps(plistlib.load(open("
                    "sys.argv[1], \"rb\")), ensure_ascii=False), end=\"\")' '" +
                    path + "'");
}
