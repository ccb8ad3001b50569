#include "clock.h"

#include <chrono>
#include <iostream>

#include <pthread.h>

#include "failure.h"

namespace qvant::host {

namespace {

using Seconds = std::chrono::sys_seconds;

std::int32_t DateOf(Seconds now) {
    const std::chrono::year_month_day date(std::chrono::floor<std::chrono::days>(now));
    return static_cast<std::int32_t>(int{date.year()} * 10000 + static_cast<int>(unsigned{date.month()} * 100) +
                                     static_cast<int>(unsigned{date.day()}));
}

std::int32_t TimeOf(Seconds now) {
    const std::chrono::hh_mm_ss time(now - std::chrono::floor<std::chrono::days>(now));
    return static_cast<std::int32_t>(time.hours().count() * 10000 + time.minutes().count() * 100 +
                                     time.seconds().count());
}

Seconds CurrentSecond() { return std::chrono::floor<std::chrono::seconds>(std::chrono::system_clock::now()); }

}  // namespace

void CClock::Set(std::int32_t nDate, std::int32_t nTime) {
    CTransaction transaction(m_tables.Make(u"QvantSystemTime"));
    transaction.SetValue(u"SystemDate", std::int64_t{nDate});
    transaction.SetValue(u"SystemTime", std::int64_t{nTime});
    transaction.Commit();
}

Record CClock::Read() const {
    const auto table = m_tables.Find(u"QvantSystemTime");
    const auto Get = [&table](TextView strKey) { return table ? table->GetValue(strKey) : Value(); };
    Record clock;
    clock.arFields.emplace_back(Column("date", Form::Date), Get(u"SystemDate"));
    clock.arFields.emplace_back(Column("time", Form::Time), Get(u"SystemTime"));
    clock.arFields.emplace_back(Column("ticking", Form::Flag), std::int64_t{m_thread.has_value()});
    return clock;
}

void CClock::StartTicking() {
    if (m_thread) return;
    const Seconds now = CurrentSecond();
    Set(DateOf(now), TimeOf(now));
    m_thread.emplace([this](const std::stop_token& stop) { Tick(stop); });
    pthread_setname_np(m_thread->native_handle(), "clock");
}

void CClock::Tick(const std::stop_token& stop) {
    CLock lock(m_mutex);
    while (true) {
        m_condition.wait_until(lock, stop, CurrentSecond() + std::chrono::seconds(1), [] { return false; });
        if (stop.stop_requested()) return;
        const Seconds now = CurrentSecond();
        try {
            Set(DateOf(now), TimeOf(now));
        } catch (const CFailure& failure) {
            // The next second may do better: a clock isn't stopped by one refused write.
            std::cerr << "lumivale-host: clock: " << failure.what() << '\n';
        }
    }
}

}  // namespace qvant::host
