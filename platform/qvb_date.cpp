#include "qvb_date.h"

#include <cmath>
#include <ctime>

void QvbDate::getElements(int& year, int& month, int& day, int& hour, int& minute, int& second) const {
    time_t t = static_cast<time_t>(std::floor(t_));
    struct tm tmv {};
    if (localtime_r(&t, &tmv) == nullptr) {
        year = month = day = hour = minute = second = 0;
        return;
    }
    year = tmv.tm_year + 1900;
    month = tmv.tm_mon + 1;
    day = tmv.tm_mday;
    hour = tmv.tm_hour;
    minute = tmv.tm_min;
    second = tmv.tm_sec;
}
