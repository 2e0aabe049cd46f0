#include "sys/path.h"
#include "sys/strheap.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

struct Extension {
    const char* path;
    const char* extension; // null: none
};

TEST(PathTest, AnExtensionBeginsAtTheLastDotBehindTheLastSlash) {
    const Extension cases[] = {
        {"name.ext", ".ext"},   {"name", nullptr},       {"", nullptr},
        {"a.b.c", ".c"},        {"dir.d/name", nullptr}, {"dir.d\\name", nullptr},
        {"dir.d/name.e", ".e"}, {"dir.d\\name.e", ".e"}, {"name.", "."},
        {".hidden", ".hidden"}, {"a.b/", nullptr},       {"c:a.b", ".b"},
    };
    for (const Extension& c : cases) {
        const char* found = zdl_PathExtensionExist(c.path);
        if (c.extension == nullptr) {
            EXPECT_EQ(found, nullptr) << c.path;
        } else {
            ASSERT_EQ(found, c.path + std::strlen(c.path) - std::strlen(c.extension)) << c.path;
        }
    }
    EXPECT_EQ(zdl_PathExtensionExist(nullptr), nullptr);
}

std::string without_extension(const char* path) {
    char buffer[64];
    std::strcpy(buffer, path);
    zdl_PathExtensionDel(buffer);
    return buffer;
}

TEST(PathTest, AnExtensionIsCutAtItsDot) {
    EXPECT_EQ(without_extension("name.ext"), "name");
    EXPECT_EQ(without_extension("a.b.c"), "a.b");
    EXPECT_EQ(without_extension("dir.d/name"), "dir.d/name");
    EXPECT_EQ(without_extension("dir.d\\name.e"), "dir.d\\name");
    EXPECT_EQ(without_extension("name."), "name");
    EXPECT_EQ(without_extension(""), "");
    zdl_PathExtensionDel(nullptr);
}

std::string with_extension(const char* path, const char* extension, bool force) {
    char buffer[64];
    std::strcpy(buffer, path);
    zdl_PathExtensionAdd(buffer, extension, force);
    return buffer;
}

TEST(PathTest, AMissingExtensionIsAddedWithOneDot) {
    for (const bool force : {false, true}) {
        EXPECT_EQ(with_extension("dir.d/name", "ext", force), "dir.d/name.ext");
        EXPECT_EQ(with_extension("name", ".ext", force), "name.ext");
        EXPECT_EQ(with_extension("name", "", force), "name.");
        EXPECT_EQ(with_extension("", "e", force), ".e");
        EXPECT_EQ(with_extension("name", "..e", force), "name..e");
    }
}

TEST(PathTest, AnExtensionIsReplacedOnlyByForce) {
    EXPECT_EQ(with_extension("name.old", ".new", true), "name.new");
    EXPECT_EQ(with_extension("name.old", "new", true), "name.new");
    EXPECT_EQ(with_extension("name.old", ".n", true), "name.n");
    EXPECT_EQ(with_extension("name.", "longer", true), "name.longer");
    EXPECT_EQ(with_extension("name.old", ".new", false), "name.old");
    EXPECT_EQ(with_extension("name.", "new", false), "name.");
}

TEST(PathTest, AnExtensionOfNullChangesNothing) {
    char buffer[] = "name";
    zdl_PathExtensionAdd(buffer, nullptr, true);
    EXPECT_STREQ(buffer, "name");
    zdl_PathExtensionAdd(nullptr, "ext", true);
}

struct FileName {
    const char* path;
    const char* name;
};

TEST(PathTest, AFileNameStandsBehindBackslashElseSlashElseColon) {
    const FileName cases[] = {
        {"c:file", "file"},
        {"a/b\\c/d", "c/d"},
        {"a\\b/c", "b/c"},
        {"a/b/c", "c"},
        {"a\\b\\c", "c"},
        {"c:a/b", "b"},
        {"a/b:c", "b:c"},
        {"name", "name"},
        {"a:b:c", "c"},
        {"a/", ""},
        {"a\\", ""},
        {"", ""},
        {"c:\\dir/file.x", "dir/file.x"},
    };
    for (const FileName& c : cases) {
        EXPECT_EQ(zdl_PathNameToFileName(c.path),
                  c.path + std::strlen(c.path) - std::strlen(c.name))
            << c.path;
    }
    EXPECT_EQ(zdl_PathNameToFileName(nullptr), nullptr);
}

struct HeapPath {
    const char* input;
    const char* extension;
    bool force;
    const char* expected;
};

TEST(PathTest, APathIsBuiltInAStringHeap) {
    const HeapPath cases[] = {
        {"name.old", ".new", true, "name.new"},
        {"name.old", ".new", false, "name.old"},
        {"name.old", "new", true, "namenew"},
        {"name", ".new", false, "name.new"},
        {"name", ".new", true, "name.new"},
        {"name", "new", false, "namenew"},
        {"dir.d/name", ".e", true, "dir.d/name.e"},
        {"", ".e", false, ".e"},
        {"name.old", "", true, "name"},
    };
    strheap_t output = sys_StrHeapInit(100);
    for (const HeapPath& c : cases) {
        EXPECT_FALSE(zdl_PathNameToStrHeap(&output, c.input, c.extension, c.force));
        EXPECT_STREQ(output.str, c.expected) << c.input << ' ' << c.extension << ' ' << c.force;
        EXPECT_EQ(output.len, std::strlen(c.expected));
    }
    sys_StrHeapFree(&output);
}

TEST(PathTest, APathThatTheStringHeapRefusesFails) {
    strheap_t output = sys_StrHeapInit(40);
    const std::string long_stem(41, 'a');
    EXPECT_TRUE(zdl_PathNameToStrHeap(&output, long_stem.c_str(), ".e", true));
    EXPECT_EQ(output.str, nullptr);

    const std::string stem(40, 'a');
    EXPECT_FALSE(zdl_PathNameToStrHeap(&output, stem.c_str(), "", true));
    const std::string long_extension = "." + std::string(60, 'e');
    EXPECT_TRUE(zdl_PathNameToStrHeap(&output, "b.x", long_extension.c_str(), true)) << output.mem;
    EXPECT_STREQ(output.str, "b");
    sys_StrHeapFree(&output);
}

TEST(PathTest, ANullPathFailsWithTheHeapUnchanged) {
    strheap_t output = sys_StrHeapInit(40);
    sys_StrHeapCopyStr(&output, "before");
    EXPECT_TRUE(zdl_PathNameToStrHeap(nullptr, "a", ".e", true));
    EXPECT_TRUE(zdl_PathNameToStrHeap(&output, nullptr, ".e", true));
    EXPECT_TRUE(zdl_PathNameToStrHeap(&output, "a", nullptr, true));
    EXPECT_STREQ(output.str, "before");
    sys_StrHeapFree(&output);
}

} // namespace
