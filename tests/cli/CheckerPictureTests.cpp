// Pictures and flagged time ranges: what a CI job keeps to see where a master fails.
#include "CliTestSupport.h"
#include "cli/TrackPicture.h"

#include <gtest/gtest.h>

#include <cmath>

using clitest::path;
using clitest::runChecker;

namespace
{
constexpr double seconds = 20.0, loudFrom = 8.0, loudTo = 12.0;

// A stereo 997 Hz sine at -20 dBFS that plays at -0.5 dBFS from 8 s to 12 s. Its first frame is
// a spike at -6 dB, so that the quiet part keeps a dynamic range of about 15 DR. Under MIXING:
// BALANCED (peak limit -1 dB, true peak -3 dBTP) both peaks are out exactly in the loud stretch,
// and the quiet start is within every limit.
juce::File writeLoudStretch (const testaudio::TempFolder& folder, const juce::String& name)
{
    const double rate = 48000.0;
    auto file = folder.file (name);
    testaudio::writeWav (file, testaudio::generate (rate, 2, (int) (seconds * rate), [rate] (int, int frame)
    {
        if (frame == 0)
            return (float) std::pow (10.0, -6.0 / 20.0);
        const double t = frame / rate;
        const double level = t >= loudFrom && t < loudTo ? -0.5 : -20.0;
        return (float) (std::pow (10.0, level / 20.0) * std::sin (2.0 * juce::MathConstants<double>::pi * 997.0 * t));
    }));
    return file;
}

juce::Colour pixelAt (const juce::Image& image, double atSeconds, int y)
{
    return image.getPixelAt ((int) (atSeconds / seconds * image.getWidth()), y);
}
} // namespace

TEST (CheckerPictures, FlaggedStretchIsRedInThePictureAndTimedInTheJson)
{
    testaudio::TempFolder folder;
    const auto audio = writeLoudStretch (folder, "master.wav");
    const auto images = folder.file ("artifacts/pictures");  // made by the checker, parents and all

    // 400 columns of 50 ms: coarser than a step of the true-peak measure (2048 frames).
    auto r = runChecker ({ "--json", "--no-progress", "--preset", "0", "--eq-preset", "29", "--width", "400",
                           "--images", path (images), path (audio) });
    ASSERT_EQ (r.exitCode, 1) << r.err;
    auto report = clitest::firstOf (r.out);

    // The JSON ranges: both peaks out in the loud stretch alone, to within one column.
    const double column = clitest::number (report["columnSeconds"]);
    EXPECT_NEAR (column, seconds / 400.0, 1e-6);
    auto* ranges = report.getProperty ("flaggedRanges", {}).getDynamicObject();
    ASSERT_NE (ranges, nullptr);
    EXPECT_EQ (ranges->getProperties().size(), 8);
    for (const char* kind : { "samplePeak", "truePeak" })
    {
        const auto& list = report["flaggedRanges"][kind];
        ASSERT_EQ (list.size(), 1) << kind << "\n" << r.out;
        EXPECT_NEAR (clitest::number (list[0]["start"]), loudFrom, column + 1e-4) << kind;  // JSON read as float
        EXPECT_NEAR (clitest::number (list[0]["end"]), loudTo, column + 1e-4) << kind;
    }
    EXPECT_EQ (report["flaggedRanges"]["balance"].size(), 0);
    int rows = 0;
    for (const auto& property : ranges->getProperties())
        rows += property.value.size() > 0 ? 1 : 0;

    // The picture: named after the file, the expected size, the heat map's colours.
    const auto png = images.getChildFile ("master.wav.png");
    ASSERT_TRUE (png.existsAsFile()) << r.err;
    EXPECT_NE (r.err.find ("wrote " + path (png)), std::string::npos) << r.err;
    const auto image = juce::ImageFileFormat::loadFrom (png);
    ASSERT_TRUE (image.isValid());
    const auto layout = orvane::cli::pictureLayout (400, rows);
    EXPECT_EQ (layout.waveform.getHeight(), 280);  // twice a strip's
    EXPECT_EQ (image.getWidth(), 400);
    EXPECT_EQ (image.getHeight(), layout.height);

    const int middle = layout.waveform.getCentreY();
    EXPECT_EQ (pixelAt (image, 10.0, middle).getARGB(), 0xfffa4d42u);  // flagged
    EXPECT_EQ (pixelAt (image, 4.0, middle).getARGB(), 0xff43476cu);   // judged, not flagged
    // The rows under the axis mark the same columns red.
    const int lane = layout.rows.front().getBottom() - 3;
    EXPECT_EQ (pixelAt (image, 10.0, lane).getARGB(), 0xfffa4d42u);
    EXPECT_EQ (pixelAt (image, 4.0, lane).getARGB(), 0xff43476cu);

    // Under it the EQ plot: the solid centre line of its scale, and the curve in a lone track's colour.
    int centreLine = 0, curve = 0;
    for (int y = layout.eq.getY(); y < layout.eq.getBottom(); ++y)
    {
        centreLine = juce::jmax (centreLine, image.getPixelAt (200, y).getARGB() == 0xff325463u ? y : 0);
        for (int x = 0; x < image.getWidth(); ++x)
            curve += image.getPixelAt (x, y).getARGB() == 0xff4c58c8u ? 1 : 0;
    }
    EXPECT_NEAR (centreLine, layout.eq.getCentreY(), 2);
    EXPECT_GT (curve, 100);
}

TEST (CheckerPictures, BatchNamesStayApartAndBadOutputsGetOneLineAndStatusTwo)
{
    testaudio::TempFolder folder;
    folder.file ("a").createDirectory();
    folder.file ("b").createDirectory();
    const auto sine = path (clitest::writeSine (folder, "a/mix.wav", -20.0, 1.5));
    clitest::writeSine (folder, "b/mix.wav", -20.0, 1.5);
    const auto other = path (folder.file ("b/mix.wav"));
    const auto missing = path (folder.file ("gone.wav"));

    // An unusable file gets no picture; a name met twice gets a number.
    const auto images = folder.file ("images");
    auto batch = runChecker ({ "--no-progress", "--images", path (images), sine, missing, other, sine });
    EXPECT_EQ (batch.exitCode, 2) << batch.err;
    auto written = images.findChildFiles (juce::File::findFiles, false);
    written.sort();
    ASSERT_EQ (written.size(), 3) << batch.err;
    EXPECT_EQ (written[0].getFileName(), "mix.wav-2.png");
    EXPECT_EQ (written[1].getFileName(), "mix.wav-3.png");
    EXPECT_EQ (written[2].getFileName(), "mix.wav.png");

    // Where pictures can't go: one line, the reports still on stdout, status 2.
    folder.file ("plain.txt").replaceWithText ("not a folder");
    folder.file ("taken").createDirectory();
    folder.file ("taken/mix.wav.png").createDirectory();
    const std::pair<juce::File, const char*> refused[] = {
        { folder.file ("plain.txt"), "it is not a folder" },
        { folder.file ("plain.txt/inside"), "could not be made" },
        { folder.file ("taken"), "the picture could not be written" },
    };
    for (const auto& [target, words] : refused)
    {
        auto r = runChecker ({ "--no-progress", "--images", path (target), sine });
        EXPECT_EQ (r.exitCode, 2) << words;
        EXPECT_FALSE (r.out.empty()) << words;
        const auto lines = r.errLines();
        ASSERT_EQ (lines.size(), 1u) << r.err;
        EXPECT_EQ (lines[0].rfind ("orvane-check: ", 0), 0u) << lines[0];
        EXPECT_NE (lines[0].find (words), std::string::npos) << lines[0];
    }
    EXPECT_TRUE (folder.file ("taken/mix.wav.png").isDirectory());
}

TEST (PictureParts, NamesTimesAndTicks)
{
    orvane::cli::PictureNames names;
    const std::pair<const char*, const char*> named[] = {
        { "/a/mix.wav", "mix.wav.png" },     { "/b/mix.wav", "mix.wav-2.png" },
        { "/c/MIX.WAV", "MIX.WAV-3.png" },   { "/d/mix.wav-2", "mix.wav-2-2.png" },
        { "/e/mix.flac", "mix.flac.png" },
    };
    for (const auto& [file, name] : named)
        EXPECT_EQ (names.nameFor (juce::File (file)), juce::String (name));

    const std::pair<double, const char*> times[] = { { 0.0, "0:00" },     { 9.99, "0:09" },   { 62.5, "1:02" },
                                                     { 3599.0, "59:59" }, { 6000.0, "100:00" } };
    for (const auto& [at, text] : times)
        EXPECT_EQ (orvane::cli::minutesSeconds (at), juce::String (text));

    struct Tick { double duration; int width; double step; };
    const Tick ticks[] = { { 240.0, 648, 30.0 }, { 20.0, 648, 2.0 }, { 3.0, 2000, 1.0 }, { 7200.0, 648, 900.0 },
                           { 360000.0, 100, 3600.0 * 64 } };
    for (const auto& t : ticks)
        EXPECT_EQ (orvane::cli::tickSeconds (t.duration, t.width, 64), t.step) << t.duration;
}
