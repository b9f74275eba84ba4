// The fs file operations on real files in a scratch directory.
#include "fs/files.h"
#include "fs_test_support.h"

#include <algorithm>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

namespace {

using FsFiles = fs_test::FsTest;

TEST_F(FsFiles, MakeDirectoryCreatesMissingParentsButNotTwice) {
    EXPECT_TRUE(fs::make_directory(root_ + "/a/b/c/"));
    EXPECT_TRUE(fs::is_directory(root_ + "/a/b/c"));
    EXPECT_FALSE(fs::make_directory(root_ + "/a/b/c"));
}

TEST_F(FsFiles, MakeDirectoryRefusesPathsWithoutAUsableParent) {
    ASSERT_EQ(mkdir("p", 0777), 0);
    std::string const top = "/tolma-fs-test-" + std::to_string(getpid());
    std::pair<std::string, std::string> const refused[] = {
        {"x", "x"},        // no '/'
        {"p/b", "p/b"},    // one-letter relative parent, even an existing one
        {"qr/s/t", "qr"},  // a relative top name is never made
        {top, top},        // only a leading '/'
        {"/" + top, top}}; // the parent "/" is one byte
    for (auto const& [path, absent] : refused) {
        EXPECT_FALSE(fs::make_directory(path)) << path;
        EXPECT_FALSE(exists(absent)) << path;
    }
    rmdir(top.c_str()); // only there if the check above failed
}

TEST_F(FsFiles, WriteFileReplacesTheWholeTextOrFails) {
    EXPECT_TRUE(fs::write_file("entry", std::string("first text\0with a NUL", 21)));
    EXPECT_EQ(fs::bytes_with_contents_of_file("entry").size(), 21u);
    EXPECT_TRUE(fs::write_file("entry", "x"));
    std::vector<std::uint8_t> const bytes = fs::bytes_with_contents_of_file("entry");
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), "x");
    EXPECT_TRUE(fs::write_file("empty", ""));
    EXPECT_EQ(fs::file_size_of("empty"), 0u);
    EXPECT_FALSE(fs::write_file("home", "a directory cannot be opened for writing"));
    EXPECT_FALSE(fs::write_file("missing/entry", "x"));
    EXPECT_FALSE(exists("missing"));
    // A full device: the file opens, but the text does not reach it.
    if (access("/dev/full", W_OK) == 0) {
        EXPECT_FALSE(fs::write_file("/dev/full", "x"));
    }
}

TEST_F(FsFiles, TypeTestsFollowLinks) {
    writeFile("file", "x");
    ASSERT_EQ(symlink("file", "link"), 0);
    EXPECT_TRUE(fs::is_file("link"));
    EXPECT_FALSE(fs::is_directory("link"));
    EXPECT_TRUE(fs::is_directory("home"));
    EXPECT_FALSE(fs::is_file("home"));
}

TEST_F(FsFiles, CopyTruncatesAnExistingDestination) {
    writeFile("big", std::string(3000, 'b'));
    writeFile("dest", std::string(5000, 'o'));
    EXPECT_TRUE(fs::copy_file("big", "dest"));
    EXPECT_EQ(readFile("dest"), std::string(3000, 'b'));
    EXPECT_FALSE(fs::copy_file("missing", "fresh"));
    EXPECT_FALSE(exists("fresh"));
}

TEST_F(FsFiles, SizeOfAMissingFileIsTheLargestValue) {
    writeFile("five", "12345");
    EXPECT_EQ(fs::file_size_of("five"), 5u);
    EXPECT_EQ(fs::file_size_of("missing"), 18446744073709551615ull);
}

TEST_F(FsFiles, ModificationDateIsInUtcAndZeroWhenMissing) {
    setenv("TZ", "UTC-9", 1); // already March locally
    writeFile("dated", "");
    timespec const times[2] = {{1709251198, 0}, {1709251198, 0}}; // 2024-02-29 23:59:58 UTC
    ASSERT_EQ(utimensat(AT_FDCWD, "dated", times, 0), 0);
    EXPECT_EQ(fs::file_modification_date("dated"), fs::DateTime(2024, 2, 29, 23, 59, 58, 0));
    EXPECT_EQ(fs::file_modification_date("missing"), fs::DateTime());
}

TEST_F(FsFiles, ListingAppendsAllEntriesButDotsAndSkipsMissingDirectories) {
    writeFile("home/file", "");
    ASSERT_EQ(symlink("nowhere", "home/link"), 0);
    std::vector<std::string> names{"kept"};
    fs::items_in_directory(names, "missing");
    EXPECT_EQ(names, std::vector<std::string>{"kept"});
    fs::items_in_directory(names, "home");
    std::sort(names.begin() + 1, names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"kept", "file", "link"}));
}

TEST_F(FsFiles, ReadingReportsFilesThatCannotBeOpened) {
    std::string const content = std::string(1500, 'z') + '\0' + "tail";
    writeFile("content", content);
    fs::IOError error = 7;
    std::vector<std::uint8_t> const bytes = fs::bytes_with_contents_of_file("content", &error);
    EXPECT_EQ(std::string(bytes.begin(), bytes.end()), content);
    EXPECT_EQ(error, 0u);
    for (char const* unreadable : {"missing", "home"}) {
        EXPECT_TRUE(fs::bytes_with_contents_of_file(unreadable, &error).empty());
        EXPECT_EQ(error, 0x80000001u) << unreadable;
    }
}

} // namespace
