#pragma once

#include <sys/types.h>

#include <chrono>
#include <fstream>
#include <future>
#include <string>

/// Runs until `helper` has ended, or until nothing is left for its thread but to wait.
template <class Result>
void run_until_asleep(pid_t thread, const std::future<Result>& helper) {
    const std::string path = "/proc/self/task/" + std::to_string(thread) + "/stat";
    char state = 'R';
    while (state != 'S' && helper.wait_for(std::chrono::seconds(0)) != std::future_status::ready) {
        std::ifstream stat(path);
        stat.ignore(1000, ')') >> state;
    }
}
