#include "platform/thread_system.h"

#include <pthread.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "platform/thread.h"

namespace qvant::platform {

void NameCurrentThread(const std::string& strName) {
    constexpr std::size_t MOST_BYTES = 15;  // a longer name is refused as a whole
    pthread_setname_np(pthread_self(), strName.substr(0, MOST_BYTES).c_str());
}

void SetThreadPriority(Priority priority) {
    constexpr int LOWEST_NICE = 10;
    // The kernel keeps a nice value for each thread, under the thread's own id.
    const auto nThread = static_cast<id_t>(syscall(SYS_gettid));
    setpriority(PRIO_PROCESS, nThread, priority == Priority::Lowest ? LOWEST_NICE : 0);
}

}  // namespace qvant::platform
