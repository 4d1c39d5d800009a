#include "KivxLanguage/KivxTrace.h"

#include <utility>

namespace {

thread_local KivxTrace* currentTrace = nullptr;

} // namespace

KivxTrace* KivxTrace::current() { return currentTrace; }

KivxTrace::Scope::Scope(KivxTrace& trace) : outer_(std::exchange(currentTrace, &trace)) {}

KivxTrace::Scope::~Scope() { currentTrace = outer_; }
