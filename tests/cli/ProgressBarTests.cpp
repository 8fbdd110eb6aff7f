#include "cli/ProgressBar.h"

#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

using orvane::cli::ProgressBar;

TEST (CheckerProgressBar, DrawsOnlyWhenEnabledAndNeverFallsBackForOneFile)
{
    EXPECT_EQ (ProgressBar::render (1, 3, "MIX.WAV", 0.5f), "[2/3] MIX.WAV [###############...............]  50%");
    EXPECT_EQ (ProgressBar::render (0, 1, "A", 2.0f), "[1/1] A [##############################] 100%");
    EXPECT_EQ (ProgressBar::render (0, 1, "A", NAN), "[1/1] A [..............................]   0%");
    EXPECT_TRUE (ProgressBar::render (0, 1, juce::String::repeatedString ("x", 80), 0.0f).contains ("xxx... ["));

    std::ostringstream quiet;
    {
        ProgressBar bar (quiet, false);
        bar.show (0, 1, "A", 0.3f);
        bar.clear();
    }
    EXPECT_TRUE (quiet.str().empty());

    std::ostringstream shown;
    ProgressBar bar (shown, true);
    auto lastDrawn = [&] { return shown.str().substr (shown.str().rfind ("\x1b[2K") + 4); };
    bar.show (0, 2, "A", 0.5f);
    bar.show (0, 2, "A", 0.0f); // the analysis pass starts its progress again from 0
    EXPECT_EQ (lastDrawn(), ProgressBar::render (0, 2, "A", 0.5f));
    bar.show (1, 2, "B", 0.1f); // a new file starts from its own progress
    EXPECT_EQ (lastDrawn(), ProgressBar::render (1, 2, "B", 0.1f));
    bar.clear();
    EXPECT_EQ (shown.str().substr (shown.str().size() - 5), "\r\x1b[2K");
}
