// Result files written whole or not at all: what a reader of the final name
// sees after a commit, after an abandoned write, and when the final name
// can't be written.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <string>

#include "qrv_run.h"
#include "util/kvora_atomicfile.h"

namespace {

bool exists(const std::string &path) {
    struct stat info;
    return ::stat(path.c_str(), &info) == 0;
}

TEST(AtomicFile, TheTemporaryNameStaysInTheSameFolder) {
    const std::string temp = kvoraAtomicTempName("/some/dir/out.csv");
    EXPECT_EQ(temp.rfind("/some/dir/out.csv", 0), 0u) << temp;
    EXPECT_EQ(temp.find('/', 10), std::string::npos) << temp;
    EXPECT_NE(temp, "/some/dir/out.csv");
}

TEST(AtomicFile, CommitReplacesTheFinalNameAndLeavesNoTemporaryFile) {
    const std::string dir = qrvtest::makeTempDir("qrvatomic");
    const std::string name = qrvtest::writeFile(dir, "out.csv", "old text that is longer than the new\n");
    KVORAAtomicFile file(name);
    ASSERT_TRUE(file.open());
    file.stream() << "a,b\n1,2\n";
    // Until the commit the old file stands as it was.
    EXPECT_EQ(qrvtest::readFile(name), "old text that is longer than the new\n");
    ASSERT_TRUE(file.commit());
    EXPECT_EQ(qrvtest::readFile(name), "a,b\n1,2\n");
    EXPECT_FALSE(exists(file.tempName()));
}

TEST(AtomicFile, AnAbandonedWriteLeavesNeitherAFileNorItsTemporary) {
    const std::string dir = qrvtest::makeTempDir("qrvatomic");
    const std::string name = dir + "/out.csv";
    std::string temp;
    {
        KVORAAtomicFile file(name);
        ASSERT_TRUE(file.open());
        temp = file.tempName();
        file.stream() << "half a file";
        EXPECT_TRUE(exists(temp));
    }
    EXPECT_FALSE(exists(name));
    EXPECT_FALSE(exists(temp));

    // A discarded write over an existing file keeps the old one.
    qrvtest::writeFile(dir, "kept.csv", "kept\n");
    KVORAAtomicFile file(dir + "/kept.csv");
    ASSERT_TRUE(file.open());
    file.stream() << "new";
    file.discard();
    EXPECT_EQ(qrvtest::readFile(dir + "/kept.csv"), "kept\n");
    EXPECT_FALSE(exists(file.tempName()));
    EXPECT_FALSE(file.commit());
}

TEST(AtomicFile, ANameThatCannotBeWrittenFailsAtOpen) {
    const std::string dir = qrvtest::makeTempDir("qrvatomic");
    EXPECT_FALSE(KVORAAtomicFile(dir + "/no/such/folder/out.csv").open());
    EXPECT_FALSE(KVORAAtomicFile("").open());
    // A directory under the final name: a plain open refuses it, and so must
    // the rename path, which would otherwise fail only at the end.
    ASSERT_EQ(::mkdir((dir + "/taken").c_str(), 0755), 0);
    KVORAAtomicFile onDirectory(dir + "/taken");
    EXPECT_FALSE(onDirectory.open());
    EXPECT_FALSE(exists(onDirectory.tempName()));
}

TEST(AtomicFile, AReadOnlyFileOrFolderFailsAtOpen) {
    if (::geteuid() == 0) GTEST_SKIP() << "permissions do not bind the superuser";
    const std::string dir = qrvtest::makeTempDir("qrvatomic");
    const std::string readOnly = qrvtest::writeFile(dir, "ro.csv", "ro\n");
    ASSERT_EQ(::chmod(readOnly.c_str(), 0444), 0);
    EXPECT_FALSE(KVORAAtomicFile(readOnly).open());
    EXPECT_EQ(qrvtest::readFile(readOnly), "ro\n");
    ASSERT_EQ(::mkdir((dir + "/locked").c_str(), 0555), 0);
    EXPECT_FALSE(KVORAAtomicFile(dir + "/locked/out.csv").open());
}

}  // namespace
