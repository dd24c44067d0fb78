#include "tool/ToolTest.h"

#include "Vq/ImageMetadata.h"

#include <csignal>
#include <thread>

#include <sys/stat.h>

namespace {

using namespace vqtest;
using namespace std::literals;

class MetaCommand : public ToolTest {
protected:
    static constexpr const char* kBatch = "StartBatch\n"
                                          "Metadata::Core,1,1920,1080,7,7,8,24,1,\n"
                                          "Metadata::BufferFormat,1,0,7680,1,1,\n"
                                          "Metadata::Video,1,2,3,4000000000,0,\n"
                                          "Metadata::VideoSample,1,-1,5,6,1,\n"
                                          "Metadata::VideoSequence,1,25,1,\n"
                                          "EndBatch\n";
    static constexpr const char* kBatchShown = "line 1: StartBatch\n"
                                               "line 2: Core\n"
                                               "  width                1920\n"
                                               "  height               1080\n"
                                               "  dataFormat           7\n"
                                               "  bitsPerComponent     8\n"
                                               "  bitsPerPixel         24\n"
                                               "  coreDataSet          yes\n"
                                               "line 3: BufferFormat\n"
                                               "  isTopDown            no\n"
                                               "  stride               7680\n"
                                               "  strideMultiplier     1\n"
                                               "  bufferFormatDataSet  yes\n"
                                               "line 4: Video\n"
                                               "  scanMode             2\n"
                                               "  aspectRatio          3\n"
                                               "  videoFormatUID       4000000000\n"
                                               "  videoDataSet         no\n"
                                               "line 5: VideoSample\n"
                                               "  polarity             -1\n"
                                               "  colorimetry          5\n"
                                               "  gamutScaling         6\n"
                                               "  videoSampleDataSet   yes\n"
                                               "line 6: VideoSequence\n"
                                               "  frameRate            25\n"
                                               "  videoSequenceDataSet yes\n"
                                               "line 7: EndBatch\n";

    ToolRun meta(std::string_view content, const Surroundings& surroundings = {}) const {
        put(content);
        return runTool({"meta", path()}, surroundings);
    }

    std::string sequence(unsigned line, const std::string& rate) const {
        return "line " + std::to_string(line) + ": VideoSequence\n  frameRate            " + rate +
               "\n  videoSequenceDataSet yes\n";
    }

    /// The complaint about a line that is no record.
    std::string noRecord(unsigned line) const {
        return "vq: " + path() + ": line " + std::to_string(line) + ": no metadata record\n";
    }

    testing::AssertionResult isNoRecord(std::string_view text) const {
        const ToolRun run = meta(text);
        if (run == ToolRun{1, "", noRecord(1)}) return testing::AssertionSuccess();
        return testing::AssertionFailure() << testing::PrintToString(text) << ": " << run;
    }

    testing::AssertionResult isRecord(std::string_view text) const {
        const ToolRun run = meta(text);
        if (run.status == 0 && run.err.empty() && run.out.starts_with("line 1: ")) {
            return testing::AssertionSuccess();
        }
        return testing::AssertionFailure() << testing::PrintToString(text) << ": " << run;
    }
};

TEST_F(MetaCommand, PrintsEveryFieldOfTheFiveRecordsAndTheMarksOfABatch) {
    EXPECT_EQ(meta(kBatch), printed(kBatchShown));
}

TEST_F(MetaCommand, LeavesTheFileAsItIs) {
    EXPECT_EQ(meta(kBatch).status, 0);
    EXPECT_EQ(content(), kBatch);
    EXPECT_EQ(folder_.names(), std::set<std::string>{kName});
}

TEST_F(MetaCommand, PrintsWhatTheLibraryWrites) {
    using namespace Vq::Image;
    const Core::Data core(4096, 2160, Format(-7), 65535, 64, false);
    const VideoSample::Data sample(Polarity(1), Colorimetry(-2147483647 - 1),
                                   GamutScaling(2147483647), false);
    EXPECT_EQ(meta(std::string(core.asString()) + "\n" + std::string(sample.asString())),
              printed("line 1: Core\n"
                      "  width                4096\n"
                      "  height               2160\n"
                      "  dataFormat           -7\n"
                      "  bitsPerComponent     65535\n"
                      "  bitsPerPixel         64\n"
                      "  coreDataSet          no\n"
                      "line 2: VideoSample\n"
                      "  polarity             1\n"
                      "  colorimetry          -2147483648\n"
                      "  gamutScaling         2147483647\n"
                      "  videoSampleDataSet   no\n"));
}

TEST_F(MetaCommand, PrintsNumbersAsTheLibraryReadsThem) {
    EXPECT_EQ(meta("Metadata::Core,1, 19x20,,0x7,9,65544,-1,2,"),
              printed("line 1: Core\n"
                      "  width                19\n"
                      "  height               0\n"
                      "  dataFormat           0\n"
                      "  bitsPerComponent     8\n"
                      "  bitsPerPixel         65535\n"
                      "  coreDataSet          yes\n"));
}

TEST_F(MetaCommand, EndsLinesAtLineFeedsWithOrWithoutCarriageReturn) {
    const std::string one = "Metadata::VideoSequence,1,1,1,";
    const std::string two = "Metadata::VideoSequence,1,2,1,";
    const ToolRun both = printed(sequence(1, "1") + sequence(2, "2"));
    EXPECT_EQ(meta(one + "\n" + two + "\n"), both);
    EXPECT_EQ(meta(one + "\r\n" + two + "\r\n"), both);
    EXPECT_EQ(meta(one + "\r\n" + two), both);
    EXPECT_EQ(meta(one + "\n" + two + "\r"), both);
    EXPECT_EQ(meta("StartBatch\r\nEndBatch\r\n"),
              printed("line 1: StartBatch\nline 2: EndBatch\n"));
}

TEST_F(MetaCommand, CountsTheEmptyLinesThatItPassesOver) {
    EXPECT_EQ(meta("\n\r\nMetadata::VideoSequence,1,1,1,\n\n\nStartBatch\n\n"),
              printed(sequence(3, "1") + "line 6: StartBatch\n"));
    EXPECT_EQ(meta(""), printed(""));
    EXPECT_EQ(meta("\n\r\n\n"), printed(""));
}

TEST_F(MetaCommand, ReportsALineThatIsNoRecordAndPrintsTheOthers) {
    const ToolRun run = meta("Metadata::VideoSequence,1,1,1,\nrubbish\n\n"
                             "Metadata::VideoSequence,1,2,1,\nMetadata::Video,1,\n"
                             "Metadata::VideoSequence,1,3,1,\n");
    EXPECT_EQ(run, (ToolRun{1, sequence(1, "1") + sequence(4, "2") + sequence(6, "3"),
                            noRecord(2) + noRecord(5)}));
}

TEST_F(MetaCommand, TakesNoTextOfAnotherTagVersionOrNumberOfItems) {
    for (const char* text : {"Metadata::Core,1,1920,1080,7,7,8,24,1,0,",
                             "Metadata::Core,1,1920,1080,7,7,8,24,",
                             "Metadata::Core,2,1920,1080,7,7,8,24,1,",
                             "Metadata::Core,0,1920,1080,7,7,8,24,1,",
                             "Metadata::Core,,1920,1080,7,7,8,24,1,",
                             "Metadata::Core,x1,1920,1080,7,7,8,24,1,",
                             "metadata::core,1,1920,1080,7,7,8,24,1,",
                             "Metadata::Core ,1,1920,1080,7,7,8,24,1,",
                             " Metadata::Core,1,1920,1080,7,7,8,24,1,",
                             "Metadata::Cores,1,1920,1080,7,7,8,24,1,",
                             "Metadata::Cor,1,1920,1080,7,7,8,24,1,",
                             ",Metadata::Core,1,1920,1080,7,7,8,24,1,1",
                             "\uFEFFMetadata::Core,1,1920,1080,7,7,8,24,1,",
                             "Metadata::Core,1,1920,1080,7,7,8,24,1,,",
                             "Metadata::Core;1;1920;1080;7;7;8;24;1;",
                             "Metadata::VideoSample,1,1,2,3,",
                             "Metadata::BufferFormat,1,1,2,3,1,2,",
                             "Metadata::VideoSequence,1,25,",
                             "Metadata::VideoSequence,1,25,1,1,",
                             "Metadata::Video",
                             "Metadata::Video,",
                             "Metadata::Video,1",
                             ",",
                             ",,,,,,",
                             " ",
                             "1",
                             "startbatch",
                             "StartBatch ",
                             "StartBatch,",
                             "EndBatch\r\r"}) {
        EXPECT_TRUE(isNoRecord(text));
    }
}

TEST_F(MetaCommand, TakesEveryTextThatTheLibraryTakes) {
    for (const char* text :
         {"Metadata::Core,1,1920,1080,7,8,8,24,1,", // unequal formats
          "Metadata::Core,1,1920,1080,7,7,8,24,1",  // no comma at the end
          "Metadata::Core, 1 ,a,b,c,d,e,f,g,", "Metadata::Core,01x,,,,,,,1,",
          "Metadata::Core,1,,,,,,,,",
          ",Metadata::Core,1,1920,1080,7,7,8,24,1,", // a comma before
          "Metadata::Video,+1,\"1\",2,3,0,", "Metadata::VideoSequence,1, ,\t,"}) {
        EXPECT_TRUE(isRecord(text));
    }
}

/// Does the library take the text for a record of some kind? `text` has other values than the
/// defaults, which the library gives for all it does not take.
bool libraryTakes(const LightweightString<char>& text) {
    using namespace Vq::Image;
    return Core::Data(text).asString() != Core::Data().asString() ||
           BufferFormat::Data(text).asString() != BufferFormat::Data().asString() ||
           Video::Data(text).asString() != Video::Data().asString() ||
           VideoSample::Data(text).asString() != VideoSample::Data().asString() ||
           VideoSequence::Data(text).asString() != VideoSequence::Data().asString();
}

TEST_F(MetaCommand, DecidesAsTheLibraryDoesWhateverStandsInALine) {
    const char* const tags[] = {"Metadata::Core",
                                "Metadata::BufferFormat",
                                "Metadata::Video",
                                "Metadata::VideoSample",
                                "Metadata::VideoSequence",
                                "Metadata",
                                ""};
    const char* const versions[] = {"1", " 1", "1.5", "-1", "2", "", "1x"};
    std::string all;
    std::string out;
    std::string err;
    unsigned line = 0;
    unsigned taken = 0;
    for (const char* tag : tags) {
        for (const char* version : versions) {
            for (unsigned count = 0; count < 10; ++count) {
                for (const char* end : {"", ",", ",,"}) {
                    std::string text = std::string(tag) + "," + version;
                    for (unsigned i = 0; i < count; ++i) text += ",5";
                    text += end;
                    all += text + "\n";
                    ++line;
                    if (libraryTakes(text.c_str())) {
                        ++taken;
                        continue;
                    }
                    err += noRecord(line);
                }
            }
        }
    }
    const ToolRun run = meta(all);
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.err, err);
    unsigned headings = 0;
    for (std::size_t at = run.out.find("line "); at != run.out.npos;
         at = run.out.find("line ", at + 1)) {
        ++headings;
    }
    EXPECT_EQ(headings, taken);
    EXPECT_GT(taken, 0U);
}

TEST_F(MetaCommand, ReadsStandardInputForADash) {
    put(kBatch);
    EXPECT_EQ(runTool({"meta", "-"}, {.standardInput = path()}), printed(kBatchShown));
    EXPECT_EQ(runTool({"meta", "-"}), printed(""));
    put("StartBatch\nx\n");
    EXPECT_EQ(
        runTool({"meta", "-"}, {.standardInput = path()}),
        (ToolRun{1, "line 1: StartBatch\n", "vq: standard input: line 2: no metadata record\n"}));
}

TEST_F(MetaCommand, ReadsLinesFromAPipeHoweverTheyAreCut) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    std::thread writer([this] {
        std::ofstream pipe(path(), std::ios::binary);
        for (const char c : std::string_view(kBatch)) pipe << c << std::flush;
    });
    const ToolRun run = runTool({"meta", "-"}, {.standardInput = path()});
    writer.join();
    EXPECT_EQ(run, printed(kBatchShown));
}

TEST_F(MetaCommand, FailsWhenStandardInputCannotBeRead) {
    EXPECT_EQ(runTool({"meta", "-"}, {.standardInput = folder_.path().string()}),
              (ToolRun{1, "", "vq: standard input: could not be read\n"}));
}

TEST_F(MetaCommand, FindsTheFileNamedDashBehindAFolder) {
    folder_.put("-", "EndBatch");
    EXPECT_EQ(runTool({"meta", (folder_ / "./-").string()}), printed("line 1: EndBatch\n"));
}

TEST_F(MetaCommand, FindsFilesWithUnusualNames) {
    for (const char* name : {"[x]", "[a,b]", "{}", "%%", "r\u00E9glages \u65E5"}) {
        folder_.put(name, "EndBatch");
        const std::string path = (folder_ / name).string();
        EXPECT_EQ(runTool({"meta", path}), printed("line 1: EndBatch\n")) << name;
    }
    // In brackets from end to end.
    EXPECT_EQ(runTool({"meta", "[x]"}), (ToolRun{1, "", "vq: [x]: could not be opened\n"}));
    EXPECT_EQ(runTool({"meta", "[]"}), (ToolRun{1, "", "vq: []: could not be opened\n"}));
}

TEST_F(MetaCommand, NamesWhatItCannotRead) {
    EXPECT_EQ(runTool({"meta", path()}), complained("could not be opened"));
    const std::string folder = folder_.path().string();
    EXPECT_EQ(runTool({"meta", folder}),
              (ToolRun{1, "", "vq: " + folder + ": could not be opened\n"}));
    EXPECT_EQ(runTool({"meta", ""}), (ToolRun{1, "", "vq: : could not be opened\n"}));
    EXPECT_EQ(runTool({"meta", "/proc/self/status"}),
              (ToolRun{1, "", "vq: /proc/self/status: holds more than its size says\n"}));
}

TEST_F(MetaCommand, ReadsABigFileWholeAndCutsNoLineOfIt) {
    std::string bytes;
    std::string shown;
    for (unsigned line = 1; line <= 100'000; ++line) {
        const std::string rate = std::to_string(line * 7919U % 1'000'003U);
        bytes += "Metadata::VideoSequence,1," + rate + ",1,\n";
        shown += sequence(line, rate);
    }
    ASSERT_GT(bytes.size(), 2U << 20); // pieces of the reading
    EXPECT_EQ(meta(bytes), printed(shown));
}

TEST_F(MetaCommand, RefusesALineOfMoreThanAMebibyteAndGoesOnBehindIt) {
    const std::string longest =
        "Metadata::VideoSequence,1," + std::string((1U << 20) - 30, '0') + "5,1,";
    ASSERT_EQ(longest.size(), 1U << 20);
    EXPECT_EQ(meta(longest + "\n" + longest), printed(sequence(1, "5") + sequence(2, "5")));
    for (const std::string& more : {" "s, std::string(5U << 20, ',')}) {
        const ToolRun run =
            meta(longest + more + "\nMetadata::VideoSequence,1,2,1,\n" + longest + more);
        EXPECT_EQ(run, (ToolRun{1, sequence(2, "2"),
                                "vq: " + path() + ": line 1: longer than 1 MiB\n" +
                                    "vq: " + path() + ": line 3: longer than 1 MiB\n"}));
    }
}

TEST_F(MetaCommand, SaysOfEveryLineOfJunkThatItIsNoRecord) {
    std::string bytes;
    std::string complaints;
    unsigned line = 1;
    for (unsigned i = 0; i < 100'000; ++i) bytes.push_back(static_cast<char>(i * i >> 3));
    std::string_view rest = bytes;
    for (bool more = true; more; ++line) {
        const std::size_t end = rest.find('\n');
        more = end != rest.npos;
        std::string_view text = rest.substr(0, end);
        rest.remove_prefix(more ? end + 1 : rest.size());
        if (text.ends_with('\r')) text.remove_suffix(1);
        if (!text.empty()) complaints += noRecord(line);
    }
    EXPECT_EQ(meta(bytes), (ToolRun{1, "", complaints}));
}

TEST_F(MetaCommand, TakesAZeroByteForAnyOther) {
    EXPECT_TRUE(isNoRecord("\0"sv));
    EXPECT_TRUE(isNoRecord("StartBatch\0"sv));
    EXPECT_TRUE(isNoRecord("Metadata::VideoSequence\0,1,1,1,"sv));
    EXPECT_EQ(meta("Metadata::VideoSequence,1,1\0"
                   "2,1,"sv),
              printed(sequence(1, "1")));
}

TEST_F(MetaCommand, FailsWhenTheResultsCannotBeWritten) {
    EXPECT_EQ(meta(kBatch, {.standardOutput = "/dev/full"}),
              (ToolRun{1, "", "vq: standard output: could not be written\n"}));
}

TEST_F(MetaCommand, StopsReadingWhenTheResultsCannotBeWritten) {
    ASSERT_EQ(mkfifo(path().c_str(), 0600), 0);
    auto* const oldAction = std::signal(SIGPIPE, SIG_IGN);
    std::thread writer([this] {
        std::ofstream pipe(path(), std::ios::binary);
        while (pipe << kBatch << std::flush) continue;
    });
    const ToolRun run =
        runTool({"meta", "-"}, {.standardOutput = "/dev/full", .standardInput = path()});
    writer.join();
    std::signal(SIGPIPE, oldAction);
    EXPECT_EQ(run, (ToolRun{1, "", "vq: standard output: could not be written\n"}));
}

TEST_F(MetaCommand, PutsAComplaintBehindTheResultsBeforeIt) {
    put("StartBatch\nx\nEndBatch\n");
    folder_.put("both", "");
    const std::string both = (folder_ / "both").string();
    runTool({"meta", path()}, {.standardOutput = both, .standardError = both});
    EXPECT_EQ(folder_.content("both"), "line 1: StartBatch\n" + noRecord(2) + "line 3: EndBatch\n");
}

TEST_F(MetaCommand, NeedsOneFile) {
    put(kBatch);
    EXPECT_TRUE(isWrongUsage(runTool({"meta"})));
    EXPECT_TRUE(isWrongUsage(runTool({"meta", path(), path()})));
    EXPECT_TRUE(isWrongUsage(runTool({"meta", "--all", path()})));
    EXPECT_TRUE(isWrongUsage(runTool({"meta", "-x"})));
}

TEST_F(MetaCommand, ExplainsItself) {
    const ToolRun help = runTool({"meta", "--help"});
    EXPECT_EQ(help.status, 0);
    EXPECT_EQ(help.err, "");
    for (const char* word : {"standard input", "StartBatch", "EndBatch", "1 MiB", "yes or no"}) {
        EXPECT_NE(help.out.find(word), std::string::npos) << word;
    }
}

} // namespace
