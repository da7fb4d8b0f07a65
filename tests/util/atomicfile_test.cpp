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

TEST(AtomicFile, CommitReplacesTheFinalNameFromATemporaryInTheSameFolder) {
    const std::string dir = qrvtest::makeTempDir("qrvatomic");
    const std::string name = qrvtest::writeFile(dir, "out.csv", "old text that is longer than the new\n");
    KVORAAtomicFile file(name);
    ASSERT_TRUE(file.open());
    EXPECT_EQ(file.tempName().rfind(name, 0), 0u) << file.tempName();
    EXPECT_EQ(file.tempName().find('/', dir.size() + 1), std::string::npos) << file.tempName();
    file.stream() << "a,b\n1,2\n";
    EXPECT_EQ(qrvtest::readFile(name), "old text that is longer than the new\n");  // until the commit
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

// What a plain open refuses, the rename path must refuse at open too, not
// only at the end.
TEST(AtomicFile, ANameThatCannotBeWrittenFailsAtOpen) {
    const std::string dir = qrvtest::makeTempDir("qrvatomic");
    EXPECT_FALSE(KVORAAtomicFile(dir + "/no/such/folder/out.csv").open());
    EXPECT_FALSE(KVORAAtomicFile("").open());
    ASSERT_EQ(::mkdir((dir + "/taken").c_str(), 0755), 0);
    KVORAAtomicFile onDirectory(dir + "/taken");
    EXPECT_FALSE(onDirectory.open());
    EXPECT_FALSE(exists(onDirectory.tempName()));
    if (::geteuid() == 0) return;  // permissions do not bind the superuser
    const std::string readOnly = qrvtest::writeFile(dir, "ro.csv", "ro\n");
    ASSERT_EQ(::chmod(readOnly.c_str(), 0444), 0);
    EXPECT_FALSE(KVORAAtomicFile(readOnly).open());
    EXPECT_EQ(qrvtest::readFile(readOnly), "ro\n");
    ASSERT_EQ(::mkdir((dir + "/locked").c_str(), 0555), 0);
    EXPECT_FALSE(KVORAAtomicFile(dir + "/locked/out.csv").open());
}

}  // namespace
