#include "kernel/progress.h"
#include "kernel/driver.h"
#include "kernel/window.h"
#include "zeltest.h"

static std::vector<std::string> shown;

class Progress : public testing::Test {
protected:
    void SetUp() override
    {
        zelrun(";");
        shown.clear();
        slot = window.progressline;
        window.progressline = [](const char *text) { shown.push_back(text); };
        refresh_report();
    }
    void TearDown() override
    {
        window.progressline = slot;
        set_progress_bar_type(0);
        report_as_bar = jaking = doing_user_progress = 0;
        report_status = 1;
        refresh_report();
    }
    void (*slot)(const char *);
};

TEST_F(Progress, IsShownAtMostOnceASecond)
{
    for (int i = 0; i < 1000; ++i) dildit(i, 1000, "Counting");
    ASSERT_EQ(shown.size(), 1u);
    EXPECT_EQ(shown[0], "Counting (0%)");
}

TEST_F(Progress, PercentStaysWithinAHundred)
{
    struct { double done, total; const char *text; } expected[] = {
        { 1, 3, "x (33%)" }, { 3, 3, "x (100%)" }, { 7, 3, "x (100%)" }, { -1, 3, "x (0%)" }, { 0, 0, "x (100%)" },
    };
    for (auto &e : expected) {
        refresh_report();
        dildit(e.done, e.total, "x");
        ASSERT_FALSE(shown.empty());
        EXPECT_EQ(shown.back(), e.text);
    }
}

TEST_F(Progress, IsNotShownInRepeatedRunsOrWithReportsOff)
{
    jaking = 1;
    dildit(1, 2, "x");
    jaking = 0;
    report_status = 0;
    dildit(1, 2, "x");
    EXPECT_TRUE(shown.empty());
}

TEST_F(Progress, BarHasThirtyCellsFilledInProportion)
{
    set_progress_bar_type(1);
    for (int percent = 0; percent <= 100; ++percent) {
        refresh_report();
        dildit(percent, 100, "Swapping");
        std::string bar = shown.back();
        ASSERT_EQ(bar.substr(0, 10), "Swapping [");
        ASSERT_EQ(bar.size(), 10u + 30 + 1);
        EXPECT_EQ(bar.back(), ']');
        int filled = 0;
        for (char c : bar.substr(10, 30)) filled += c != ' ';
        EXPECT_EQ(filled, percent * 30 / 100);
    }
}

TEST_F(Progress, ErasingClearsTheLineUnlessReportsAreOff)
{
    erdil();
    EXPECT_EQ(shown, std::vector<std::string>{ "" });
    shown.clear();
    report_status = 0;
    erdil();
    EXPECT_TRUE(shown.empty());
    report_status = 1;
    doing_user_progress = 1;
    erdil_forgood();
    EXPECT_TRUE(shown.empty());
}

TEST_F(Progress, ReportCommandSetsAndTells)
{
    EXPECT_EQ(zelrun("report+ 5/2/3;"), "Record search status: every 5 secs., every 3 tree(s), and every 2 rep(s).\n");
    EXPECT_EQ(xreport_status_time, 5);
    EXPECT_EQ(xreport_status_reps, 2);
    EXPECT_EQ(xreport_status_trees, 3);
    EXPECT_EQ(zelrun("report+ 0/2;"), "Record search status: every 2 rep(s).\n");
    EXPECT_EQ(zelrun("report+;"), "Record search status: none\n");
    zelrun("report[;");
    EXPECT_EQ(record_progress_bar, 1);
    zelrun("report];");
    EXPECT_EQ(record_progress_bar, 0);
    EXPECT_EQ(zelrun("report<;"), "Using simpler progress bar\n");
    EXPECT_EQ(zelrun("report>;"), "Using standard symbols for progress bar\n");
    EXPECT_EQ(zelrun("report-;"), "");
    EXPECT_EQ(report_status, 0);
    EXPECT_EQ(zelrun("report=;").substr(0, 12), "Report is ON");
}
