// Calendar date and time of day, local time.
#pragma once

class QvbDate {
public:
    QvbDate() = default;
    // Seconds since the epoch, as time() gives them.
    void assign(double secondsSinceEpoch) { t_ = secondsSinceEpoch; }
    // Local calendar elements: month 1-12, day 1-31.
    void getElements(int& year, int& month, int& day, int& hour, int& minute, int& second) const;
    double value() const { return t_; }

private:
    double t_ = 0;
};
