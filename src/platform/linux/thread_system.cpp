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

std::uint32_t GetThreadId() { return static_cast<std::uint32_t>(syscall(SYS_gettid)); }

void SetThreadPriority(Priority priority) {
    constexpr int LOWEST_NICE = 10;
    // The kernel keeps a nice value for each thread, under the thread's own id.
    setpriority(PRIO_PROCESS, static_cast<id_t>(GetThreadId()), priority == Priority::Lowest ? LOWEST_NICE : 0);
}

}  // namespace qvant::platform
