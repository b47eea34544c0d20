#include "pthread_script.h"

#include <atomic>

namespace {

std::atomic<PthreadScript*> script{nullptr};
thread_local bool scriptOwner = false;
std::atomic<int> creates, joins, detaches, condWaits, condSignals, condDestroys;
std::atomic<void*> joinedResult;

/// Runs one step of the script, if there is one.
template <typename Step>
void Run(Step PthreadScript::*step) {
    PthreadScript* current = script;
    if (current != nullptr && current->*step) {
        (current->*step)();
    }
}

}  // namespace

PthreadScript::PthreadScript() {
    creates = joins = detaches = condWaits = condSignals = condDestroys = 0;
    joinedResult = nullptr;
    scriptOwner = true;
    script = this;
}

PthreadScript::~PthreadScript() {
    script = nullptr;
    scriptOwner = false;
}

PthreadScript::Counts PthreadScript::Calls() const {
    return {creates, joins, detaches, condWaits, condSignals, condDestroys};
}

void* PthreadScript::JoinedResult() const {
    return joinedResult;
}

// Visible, since the linker looks at the shared libraries' calls too.
#pragma GCC visibility push(default)
extern "C" {

int __real_pthread_create(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
int __real_pthread_join(pthread_t, void**);
int __real_pthread_detach(pthread_t);
int __real_pthread_mutex_lock(pthread_mutex_t*);
int __real_pthread_cond_wait(pthread_cond_t*, pthread_mutex_t*);
int __real_pthread_cond_signal(pthread_cond_t*);
int __real_pthread_cond_destroy(pthread_cond_t*);

int __wrap_pthread_create(pthread_t* id, const pthread_attr_t* attributes, void* (*start)(void*), void* argument) {
    ++creates;
    PthreadScript* current = script;
    if (current != nullptr && current->create) {
        return current->create(id);
    }
    return __real_pthread_create(id, attributes, start, argument);
}

int __wrap_pthread_join(pthread_t id, void** result) {
    ++joins;
    Run(&PthreadScript::beforeJoin);
    void* given = nullptr;
    const int error = __real_pthread_join(id, &given);
    joinedResult = given;
    if (result != nullptr) {
        *result = given;
    }
    return error;
}

int __wrap_pthread_detach(pthread_t id) {
    ++detaches;
    Run(&PthreadScript::beforeDetach);
    return __real_pthread_detach(id);
}

int __wrap_pthread_mutex_lock(pthread_mutex_t* mutex) {
    if (scriptOwner) {
        Run(&PthreadScript::beforeLock);
    }
    return __real_pthread_mutex_lock(mutex);
}

int __wrap_pthread_cond_wait(pthread_cond_t* condition, pthread_mutex_t* mutex) {
    ++condWaits;
    PthreadScript* current = script;
    if (current != nullptr && current->condWait) {
        return current->condWait();
    }
    Run(&PthreadScript::beforeCondWait);
    return __real_pthread_cond_wait(condition, mutex);
}

int __wrap_pthread_cond_signal(pthread_cond_t* condition) {
    ++condSignals;
    return __real_pthread_cond_signal(condition);
}

int __wrap_pthread_cond_destroy(pthread_cond_t* condition) {
    ++condDestroys;
    return __real_pthread_cond_destroy(condition);
}

}  // extern "C"
#pragma GCC visibility pop
