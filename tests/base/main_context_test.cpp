#include "base/main_context.h"

#include <thread>
#include <vector>

#include <glib.h>
#include <gtest/gtest.h>

namespace brellow {

TEST(MainContext, JobsRunLaterInPostingOrderEvenFromTheOwningThread) {
    GMainContext* context = g_main_context_new();
    std::vector<int> order;
    postToMainContext([&] { order.push_back(1); }, context);
    postToMainContext(
        [&] {
            order.push_back(2);
            postToMainContext([&] { order.push_back(4); }, context);
            order.push_back(3);  // the nested job must not run inside this one
        },
        context);
    while (g_main_context_iteration(context, FALSE)) {
    }
    EXPECT_EQ(order, (std::vector<int>{1, 2, 3, 4}));
    g_main_context_unref(context);
}

TEST(MainContext, JobsPostedFromAnotherThreadRunOnTheContext) {
    GMainContext* context = g_main_context_new();
    std::thread::id ranOn;
    std::thread poster(
        [&] { postToMainContext([&] { ranOn = std::this_thread::get_id(); }, context); });
    poster.join();
    while (g_main_context_iteration(context, FALSE)) {
    }
    EXPECT_EQ(ranOn, std::this_thread::get_id());
    g_main_context_unref(context);
}

}  // namespace brellow
