#pragma once

#include <algorithm>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

#include <kiv/KIVHost.h>

#include "Runtime/KIVDebugger.h"

/// Turns the debug log on for the rest of the process and keeps its lines. The host is otherwise as given.
class CapturedLog {
public:
    explicit CapturedLog(KIVHost host = {}) {
        host.logSink = [kept = kept_](const std::string& line) {
            const std::lock_guard lock(kept->lock);
            kept->lines.push_back(line);
        };
        KIVHost::configure(std::move(host));
        kivDebuggerVerbose = true;
    }

    /// Whether some line contains all the texts.
    bool has(const std::vector<std::string>& texts) const {
        const std::lock_guard lock(kept_->lock);
        return std::any_of(kept_->lines.begin(), kept_->lines.end(), [&](const std::string& line) {
            return std::all_of(texts.begin(), texts.end(),
                               [&](const std::string& text) { return line.find(text) != std::string::npos; });
        });
    }

    void clear() {
        const std::lock_guard lock(kept_->lock);
        kept_->lines.clear();
    }

private:
    struct Kept {
        std::mutex lock;
        std::vector<std::string> lines;
    };
    std::shared_ptr<Kept> kept_ = std::make_shared<Kept>();
};
