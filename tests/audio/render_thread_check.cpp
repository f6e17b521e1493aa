// Fails the test program when anything in it allocated, freed or locked on a render thread
// while a render callback ran, naming the first test where that happened.
#include <gtest/gtest.h>

#include <string>

#include "audio/graph/rt_guard.h"

namespace brellow::audio {

namespace {

class RenderThreadCheck : public ::testing::EmptyTestEventListener {
  public:
    void OnTestEnd(const ::testing::TestInfo& info) override {
        const auto allocations = RenderThreadViolations::allocations.load();
        const auto locks = RenderThreadViolations::locks.load();
        if ((allocations != 0 || locks != 0) && firstOffender_.empty()) {
            firstOffender_ = std::string(info.test_suite_name()) + "." + info.name();
        }
    }
    void OnTestProgramEnd(const ::testing::UnitTest&) override {
        if (!firstOffender_.empty()) {
            std::fprintf(stderr,
                         "The render thread allocated or locked %llu/%llu times, first in %s\n",
                         static_cast<unsigned long long>(RenderThreadViolations::allocations),
                         static_cast<unsigned long long>(RenderThreadViolations::locks),
                         firstOffender_.c_str());
            std::_Exit(1);
        }
    }

  private:
    std::string firstOffender_;
};

const bool kInstalled = [] {
    ::testing::UnitTest::GetInstance()->listeners().Append(new RenderThreadCheck);
    return true;
}();

}  // namespace

}  // namespace brellow::audio
