#include <cmath>
#include <filesystem>
#include <string>

#include <gtest/gtest.h>

#include <kzcore/core/thread_values.h>
#include <kzcore/pal/module.h>
#include <kzcore/pal/sync.h>

namespace {

const KzStringResource kTestStrings[] = {{101, u"Hello"}, {102, u"Open the file"}, {103, u""}};
KZ_STRING_TABLE(kTestStrings)

std::u16string FileName(HMODULE module) {
  WCHAR buffer[4096];
  return std::u16string(buffer, GetModuleFileNameW(module, buffer, 4096));
}

HMODULE Library() { return GetModuleHandleW(u"libkzcore.so.1"); }

TEST(LoadString, CopiesAtMostMaxMinusOneUnitsAndTerminates) {
  HMODULE self = GetModuleHandleW(nullptr);
  WCHAR buffer[16] = u"junk";
  EXPECT_EQ(LoadStringW(self, 101, buffer, 16), 5);
  EXPECT_EQ(std::u16string(buffer), u"Hello");
  EXPECT_EQ(LoadStringW(self, 102, buffer, 5), 4);
  EXPECT_EQ(std::u16string(buffer), u"Open");
  EXPECT_EQ(LoadStringW(nullptr, 101, buffer, 6), 5);  // null is the executable
  EXPECT_EQ(std::u16string(buffer), u"Hello");
  EXPECT_EQ(LoadStringW(self, 101, buffer, 1), 0);
  EXPECT_EQ(buffer[0], 0);
  // Max 0 gives the module's own text and its whole length.
  const WCHAR *text = nullptr;
  EXPECT_EQ(LoadStringW(self, 102, reinterpret_cast<WCHAR *>(&text), 0), 13);
  EXPECT_EQ(text, kTestStrings[1].text);
}

TEST(LoadString, MissingStringsAndOtherModules) {
  HMODULE self = GetModuleHandleW(nullptr);
  WCHAR buffer[8];
  EXPECT_EQ(LoadStringW(self, 999, buffer, 8), 0);
  EXPECT_EQ(LoadStringW(self, 103, buffer, 8), 0);  // an empty text is no string
  EXPECT_EQ(LoadStringW(self, 101, nullptr, 8), 0);
  EXPECT_EQ(LoadStringW(Library(), 101, buffer, 8), 0);  // the strings are the executable's
  KzUnregisterStringTable(kTestStrings);
  EXPECT_EQ(LoadStringW(self, 101, buffer, 8), 0);
  EXPECT_TRUE(KzRegisterStringTable(kTestStrings, 3));
  EXPECT_EQ(LoadStringW(self, 101, buffer, 8), 5);
}

TEST(Module, HandlesAndFileNames) {
  static int in_executable;
  int on_the_stack = 0;
  HMODULE self = GetModuleHandleW(nullptr);
  EXPECT_EQ(KzModuleFromAddress(&in_executable), self);
  EXPECT_EQ(KzModuleFromAddress(&on_the_stack), nullptr);
  ASSERT_NE(Library(), nullptr);
  EXPECT_NE(Library(), self);
  EXPECT_EQ(GetModuleHandleW(u"LIBKZCORE.SO.1"), nullptr);  // file names compare with case

  const std::u16string library = FileName(Library());
  ASSERT_GT(library.size(), 14u);
  EXPECT_EQ(library.front(), u'/');
  EXPECT_EQ(library.substr(library.size() - 14), u"libkzcore.so.1");
  EXPECT_EQ(GetModuleHandleW(library.c_str()), Library());
  const std::string exe = std::filesystem::read_symlink("/proc/self/exe").string();
  EXPECT_EQ(FileName(nullptr), std::u16string(exe.begin(), exe.end()));
  EXPECT_EQ(GetProcAddress(Library(), "TLS_Alloc"), reinterpret_cast<void *>(&TLS_Alloc));
}

TEST(Module, FileNameIntoASmallBufferIsCutAndTerminated) {
  const std::u16string full = FileName(Library());
  const DWORD length = static_cast<DWORD>(full.size());
  WCHAR buffer[4096];
  EXPECT_EQ(GetModuleFileNameW(Library(), buffer, length + 1), length);
  SetLastError(0);
  EXPECT_EQ(GetModuleFileNameW(Library(), buffer, length), length);
  EXPECT_EQ(GetLastError(), ERROR_INSUFFICIENT_BUFFER);
  EXPECT_EQ(std::u16string(buffer), full.substr(0, length - 1));
  EXPECT_EQ(GetModuleFileNameW(Library(), buffer, 5), 5u);
  EXPECT_EQ(std::u16string(buffer), full.substr(0, 4));
  int on_the_stack = 0;
  EXPECT_EQ(GetModuleFileNameW(reinterpret_cast<HMODULE>(&on_the_stack), buffer, 4096), 0u);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
}

TEST(Module, SystemLibraryLoadsResolvesAndFrees) {
  HMODULE libm = LoadLibraryW(u"libm.so.6");
  ASSERT_NE(libm, nullptr);
  EXPECT_EQ(GetModuleHandleW(u"libm.so.6"), libm);
  auto cosine = reinterpret_cast<double (*)(double)>(GetProcAddress(libm, "cos"));
  ASSERT_NE(cosine, nullptr);
  EXPECT_EQ(cosine(0.5), std::cos(0.5));
  EXPECT_EQ(GetProcAddress(libm, "no_such_function"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_PROC_NOT_FOUND);
  EXPECT_EQ(GetProcAddress(libm, reinterpret_cast<const char *>(1)), nullptr);  // an ordinal

  std::u16string path = FileName(libm);  // the same file, written with backslashes
  for (auto &c : path)
    if (c == u'/') c = u'\\';
  EXPECT_EQ(LoadLibraryW(path.c_str()), libm);
  EXPECT_TRUE(FreeLibrary(libm));
  EXPECT_TRUE(FreeLibrary(libm));  // one free per load
  EXPECT_FALSE(FreeLibrary(libm));
  EXPECT_EQ(GetLastError(), ERROR_INVALID_HANDLE);

  EXPECT_EQ(LoadLibraryW(u"/no/such/folder/libnothing.so"), nullptr);
  EXPECT_EQ(GetLastError(), ERROR_MOD_NOT_FOUND);
  EXPECT_EQ(LoadLibraryW(nullptr), nullptr);
}

}  // namespace
