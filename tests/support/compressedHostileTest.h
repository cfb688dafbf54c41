#ifndef DATASOURCE_TESTS_COMPRESSEDHOSTILETEST_H
#define DATASOURCE_TESTS_COMPRESSEDHOSTILETEST_H

#include <cstddef>
#include <memory>
#include <string>

#include "support/compressedTest.h"

namespace support {

/// Base of the tests with damaged files: reads all blocks of a file in every mode, with a handler that
/// goes on and with one that throws, and checks that each run ends in a report or in right data.
class HostileTest : public CompressedTest {
 protected:
  struct Outcome {
    Texts reports;
    bool allDelivered = false;
  };

  /// Reads every block of `image`, the undamaged one, out of the file `name`, the last one first: exactly behind a
  /// short block nothing is found. Bytes that were delivered must be right. Handlers that throw end the reading,
  /// and so does an error of the file, which counts as a report.
  Outcome readBlocks(const std::string& name, const Image& image, int mode, bool throwing) {
    AssertionRecorder recorder(throwing ? AssertionRecorder::Then::raise : AssertionRecorder::Then::goOn);
    Outcome outcome;
    try {
      const auto stream = openPlain(folder.path(name), mode);
      stream->readFilePosInfo(image.row0, image.swapped);
      outcome.allDelivered = true;
      for (std::size_t i = image.records.size(); i > 0; --i) {
        const bInfo& record = image.records[i - 1];
        const std::string bytes = readAt(*stream, record.orginalPos, static_cast<std::size_t>(record.orginalSize));
        outcome.allDelivered = outcome.allDelivered && bytes.size() == static_cast<std::size_t>(record.orginalSize);
        EXPECT_TRUE(sameBytes(bytes, caseBytes(record.orginalPos, bytes.size()))) << "at " << record.orginalPos;
      }
      stream->Close();
    } catch (const AssertionThrown&) {
      outcome.allDelivered = false;
    } catch (const StringSysError& error) {
      outcome.allDelivered = false;
      outcome.reports.push_back(error.what());
    }
    for (const std::string& text : recorder.takeTexts()) {
      outcome.reports.push_back(text);
    }
    return outcome;
  }

  /// Checks that the file ends every reading in a report or in right and complete data.
  void expectReportOrData(const std::string& name, const Image& image) {
    for (const int mode : {0, 2}) {
      for (const bool throwing : {false, true}) {
        SCOPED_TRACE("mode " + std::to_string(mode) + (throwing ? ", the handler throws" : ""));
        const Outcome outcome = readBlocks(name, image, mode, throwing);
        EXPECT_TRUE(outcome.allDelivered || !outcome.reports.empty()) << "data is missing and nothing was reported";
      }
    }
  }

  /// Checks that the file is reported in every way of reading it.
  void expectReport(const std::string& name, const Image& image, const std::string& text) {
    for (const int mode : {0, 2}) {
      for (const bool throwing : {false, true}) {
        SCOPED_TRACE("mode " + std::to_string(mode) + (throwing ? ", the handler throws" : ""));
        EXPECT_THAT(readBlocks(name, image, mode, throwing).reports, ::testing::Contains(text));
      }
    }
  }

  /// Appends behind the file; whatever is reported, the file must not become one that reads as complete and is not.
  void appendTo(const std::string& name, const Image& image) {
    for (const bool throwing : {false, true}) {
      AssertionRecorder recorder(throwing ? AssertionRecorder::Then::raise : AssertionRecorder::Then::goOn);
      const std::string before = folder.readWhole(name);
      try {
        const VORN_FileStream plain(folder.path(name).c_str(), "rb");
        zcmpsFilestr stream(plain);
        stream.readFilePosInfo(image.row0, image.swapped);
        stream.Seek(image.end(), VORN_StrBaseIO::SeekFromStart);
        stream.setFileToAppend(image.end(), image.swapped);
        stream.Close();
      } catch (const AssertionThrown&) {
      } catch (const StringSysError&) {
      }
      if (!recorder.takeTexts().empty()) {
        EXPECT_EQ(folder.readWhole(name).substr(0, before.size()), before) << "a refused file was changed";
      }
      folder.writePlain(name, before);
    }
  }
};

}  // namespace support

#endif
