#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <exception>
#include <stdexcept>
#include <string>
#include <type_traits>

#include "Datasource/Datasource.h"
#include "support/assertionRecorder.h"
#include "support/errors.h"
#include "support/testFolder.h"

namespace {

using namespace support;

static_assert(std::is_base_of_v<std::runtime_error, StringSysError>);
static_assert(std::is_nothrow_copy_constructible_v<StringSysError>);
static_assert(std::is_base_of_v<std::exception, SystemFileException>);
static_assert(std::is_nothrow_copy_constructible_v<SystemFileException>);

StringSysError raise(long number, const char* text, int systemError) {
  try {
    errno = systemError;
    ThrowError::StringSys("strmcat.err", number, text);
  } catch (const StringSysError& error) {
    return error;
  }
}

TEST(ErrorRaising, TheMessageOfAFailedWriteReadsAsOneSentence) {
  const StringSysError error = raise(1002, "a/b.dat", ENOSPC);
  EXPECT_EQ(error.what(), "strmcat.err 1002: writing \"a/b.dat\" failed: " + std::string(std::strerror(ENOSPC)));
}

TEST(ErrorRaising, TheMessageOfAFailedReadReadsAsOneSentence) {
  const StringSysError error = raise(1003, "a/b.dat", EIO);
  EXPECT_EQ(error.what(), "strmcat.err 1003: reading \"a/b.dat\" failed: " + std::string(std::strerror(EIO)));
}

TEST(ErrorRaising, TheFieldsAreThoseOfTheCall) {
  const StringSysError error = raise(1002, "name", EACCES);
  EXPECT_EQ(error.catalogue(), "strmcat.err");
  EXPECT_EQ(error.number(), 1002);
  EXPECT_EQ(error.text(), "name");
  EXPECT_EQ(error.systemError(), EACCES);
}

TEST(ErrorRaising, ItOwnsItsTexts) {
  std::string name = "a name that is too long to be kept without an allocation";
  const StringSysError error = raise(1002, name.c_str(), EIO);
  name.assign(name.size(), 'x');
  EXPECT_EQ(error.text(), "a name that is too long to be kept without an allocation");
}

TEST(ErrorRaising, AFailureWithoutASystemErrorHasNone) { EXPECT_EQ(raise(1003, "name", 0).systemError(), 0); }

TEST(ErrorRaising, ItIsCaughtAsAStandardException) {
  EXPECT_THROW(ThrowError::StringSys("strmcat.err", 1002, "name"), std::runtime_error);
}

TEST(ErrorRaising, ALibraryErrorIsCaughtByItsTypeOutsideOfTheLibrary) {
  const TestFolder folder;
  VORN_File file;
  ASSERT_TRUE(file.Open(named(folder.writePlain("f", "abc")), "rb"));
  try {
    file.Write("x", 1, 0);
    FAIL() << "nothing was raised";
  } catch (const StringSysError& error) {
    EXPECT_EQ(error.catalogue(), "strmcat.err");
    EXPECT_EQ(error.number(), 1002);
    EXPECT_EQ(error.text(), folder.path("f"));
    EXPECT_EQ(error.systemError(), EBADF);
  }
}

TEST(ErrorRaising, OpeningWhatDoesNotExistIsNoError) {
  const TestFolder folder;
  VORN_File file;
  EXPECT_EQ(raisedBy([&] { EXPECT_FALSE(file.Open(named(folder.path("missing")), "rb")); }), nothing);
}

TEST(SystemFileErrors, CarryTheFiveValuesInTheirOrder) {
  const SystemFileException error("Datasource/src/zcmpsFilestr", "fData->pRealFile.Open(GetNameStr(), \"r+b\")", 1201,
                                  77, true);
  EXPECT_STREQ(error.sourceFile, "Datasource/src/zcmpsFilestr");
  EXPECT_STREQ(error.expression, "fData->pRealFile.Open(GetNameStr(), \"r+b\")");
  EXPECT_EQ(error.errorNumber, 1201);
  EXPECT_EQ(error.line, 77);
  EXPECT_TRUE(error.flag);
  EXPECT_LT(static_cast<const void*>(&error.sourceFile), static_cast<const void*>(&error.expression));
  EXPECT_LT(static_cast<const void*>(&error.expression), static_cast<const void*>(&error.errorNumber));
  EXPECT_LT(static_cast<const void*>(&error.errorNumber), static_cast<const void*>(&error.line));
  EXPECT_LT(static_cast<const void*>(&error.line), static_cast<const void*>(&error.flag));
}

TEST(SystemFileErrors, AreCaughtByTypeAndSayWhatHappened) {
  try {
    throw SystemFileException("Datasource/src/zcmpsFilestr", "Open()", 1201, 5, true);
  } catch (const std::exception& error) {
    EXPECT_NE(dynamic_cast<const SystemFileException*>(&error), nullptr);
    EXPECT_NE(std::string(error.what()).find("1201"), std::string::npos);
    EXPECT_NE(std::string(error.what()).find("Open()"), std::string::npos);
  }
}

TEST(SystemFileErrors, NameTheFileAndTheReasonWhereTheyAreKnown) {
  const SystemFileException error("Datasource/src/zcmpsFilestr", "Open()", 1201, 5, true, "a/b.case", ENOENT);
  EXPECT_STREQ(error.what(),
               "opening the compressed file \"a/b.case\" again failed: No such file or directory (error 1201): Open(), "
               "Datasource/src/zcmpsFilestr:5");
  const SystemFileException plain("Datasource/src/zcmpsFilestr", "Open()", 1201, 5, true);
  EXPECT_STREQ(plain.what(),
               "opening the compressed file again failed (error 1201): Open(), Datasource/src/zcmpsFilestr:5");
  const SystemFileException nameless("Datasource/src/zcmpsFilestr", "Open()", 1201, 5, true, "", 0);
  EXPECT_STREQ(nameless.what(), plain.what());
}

TEST(AssertionReports, ReachTheHandlerOfTheProgramAndTheProgramGoesOn) {
  AssertionRecorder recorder;
  const VORN_File file;
  const VORN_File copy(file);
  const auto reports = recorder.take();
  ASSERT_EQ(reports.size(), 1U);
  EXPECT_EQ(reports[0].expression, "0 && \"can't copy an VORN_File\"");
  EXPECT_EQ(reports[0].file, "Datasource/src/file");
  EXPECT_GT(reports[0].line, 0U);
}

TEST(AssertionReports, MayBeThrownThroughTheLibrary) {
  AssertionRecorder recorder(AssertionRecorder::Then::raise);
  const VORN_File file;
  EXPECT_THROW(VORN_File{file}, AssertionThrown);
}

}  // namespace
