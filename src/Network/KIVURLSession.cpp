#include "Network/KIVURLSession.h"

#include <memory>
#include <utility>

void KIVURLSession::sendRequestWrapper(kiv::HttpRequest request, Completion completionHandler) const {
    kiv::sendHttpRequest(std::move(request),
                         [queue = delegateQueue_, completionHandler = std::move(completionHandler)](
                             kiv::HttpResponse response) mutable {
                             // A task is copied; a response is large.
                             queue.post([completionHandler = std::move(completionHandler),
                                         kept = std::make_shared<kiv::HttpResponse>(std::move(response))] {
                                 completionHandler(std::move(*kept));
                             });
                         });
}
