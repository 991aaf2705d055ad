#include "Watch.h"

#include "Report.h"
#include "SharedFrame.h"

#include <QvPlatform/threads/QvThread.h>
#include <QvPlatform/time/QvTimer.h>

#include <iostream>

namespace {

constexpr double kPatience = 10.0;     // seconds
constexpr unsigned long kPeriod = 50;  // milliseconds

void printFrame(const Frame& frame) {
    printLine("step " + std::to_string(frame.step),
              measurementText(frame.state) + "   contacts " + std::to_string(frame.contacts));
    std::cout.flush();
}

}  // namespace

int watchSimulation() {
    SharedFrame shared;
    printHeading("Watching; start the simulation with --realtime to see more of it");
    int lastStep = -1;
    for (Qv::QvTimer sinceNews(true); sinceNews.getTime() < kPatience; Qv::QvThreadSleep(kPeriod)) {
        const Frame frame = shared.read();
        if (frame.steps == 0 || frame.step == lastStep) continue;
        printFrame(frame);
        if (frame.step == frame.steps) return 0;
        lastStep = frame.step;
        sinceNews = Qv::QvTimer(true);
    }
    std::cerr << "No news of a simulation\n";
    return 1;
}
