// Modules over the dynamic loader, and string tables registered per module.
#include <kzcore/pal/module.h>

#include <dlfcn.h>
#include <limits.h>
#include <link.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include <kzcore/pal/internal/utf8.h>
#include <kzcore/pal/sync.h>
#include <kzcore/pal/wide.h>

namespace {

using kz::pal::internal::Utf8FromWide;
using kz::pal::internal::WideFromUtf8;

HMODULE AsModule(const void *base) { return static_cast<HMODULE>(const_cast<void *>(base)); }

// String tables --------------------------------------------------------------------------------

struct StringTable {
  HMODULE module;
  const KzStringResource *entries;
  std::size_t count;
};

struct StringTables {
  std::mutex lock;
  std::vector<StringTable> tables;
};

// Never destroyed: modules unregister their tables from static destructors that may run after
// this library's own.
StringTables &Tables() {
  static StringTables *tables = new StringTables;
  return *tables;
}

// The module's text for `id`, or null. The text is static data of that module.
const WCHAR *FindString(HMODULE module, UINT id) {
  StringTables &all = Tables();
  std::lock_guard<std::mutex> hold(all.lock);
  for (const StringTable &table : all.tables) {
    if (table.module != module) continue;
    for (std::size_t i = 0; i < table.count; ++i)
      if (table.entries[i].id == id) return table.entries[i].text;
  }
  return nullptr;
}

// Loaded objects -------------------------------------------------------------------------------

struct LoadedObject {
  HMODULE base;
  std::string name;  // as the loader knows it; empty for the executable
  bool executable;
};

struct Probe {
  std::string name;
  const void *address;  // inside the object's first loaded segment
};

int CollectProbe(dl_phdr_info *info, std::size_t, void *data) {
  auto *probes = static_cast<std::vector<Probe> *>(data);
  for (int i = 0; i < info->dlpi_phnum; ++i) {
    const ElfW(Phdr) &ph = info->dlpi_phdr[i];
    if (ph.p_type != PT_LOAD || ph.p_memsz == 0) continue;
    probes->push_back({info->dlpi_name != nullptr ? info->dlpi_name : "",
                       reinterpret_cast<const void *>(info->dlpi_addr + ph.p_vaddr)});
    break;
  }
  return 0;
}

// The objects loaded now, the executable first. The base of each is what dladdr reports for an
// address inside it, so that handles agree with KzModuleFromAddress. dladdr is called after the
// walk, not inside it: the walk holds a loader lock that dladdr must not nest under.
std::vector<LoadedObject> LoadedObjects() {
  std::vector<Probe> probes;
  dl_iterate_phdr(CollectProbe, &probes);
  std::vector<LoadedObject> objects;
  objects.reserve(probes.size());
  for (std::size_t i = 0; i < probes.size(); ++i) {
    Dl_info where;
    if (dladdr(probes[i].address, &where) == 0 || where.dli_fbase == nullptr) continue;
    objects.push_back({AsModule(where.dli_fbase), std::move(probes[i].name), i == 0});
  }
  return objects;
}

std::string ExecutablePath() {
  char path[PATH_MAX];
  ssize_t n = readlink("/proc/self/exe", path, sizeof path - 1);
  if (n <= 0) return {};
  return std::string(path, static_cast<std::size_t>(n));
}

HMODULE ExecutableModule() {
  static HMODULE executable = [] {
    std::vector<LoadedObject> objects = LoadedObjects();
    return objects.empty() ? nullptr : objects.front().base;
  }();
  return executable;
}

// The full path of a loaded module; false when no loaded object has that base.
bool ModulePath(HMODULE module, std::string &path) {
  if (module == nullptr) module = ExecutableModule();
  for (const LoadedObject &object : LoadedObjects()) {
    if (object.base != module) continue;
    if (object.executable) {
      path = ExecutablePath();
    } else {
      path = object.name;
      // A library opened by a relative name keeps that name in the loader.
      if (!path.empty() && path[0] != '/') {
        char *full = realpath(path.c_str(), nullptr);
        if (full != nullptr) {
          path = full;
          std::free(full);
        }
      }
    }
    return !path.empty();
  }
  return false;
}

// Modules opened through LoadLibraryW, with the loader handle and the number of opens that
// FreeLibrary has still to close.
struct OpenedModule {
  HMODULE base;
  void *handle;
  unsigned opens;
};

struct OpenedModules {
  std::mutex lock;
  std::vector<OpenedModule> modules;
};

OpenedModules &Opened() {
  static OpenedModules *opened = new OpenedModules;
  return *opened;
}

HMODULE BaseOfHandle(void *handle) {
  link_map *map = nullptr;
  if (dlinfo(handle, RTLD_DI_LINKMAP, &map) != 0 || map == nullptr || map->l_ld == nullptr) return nullptr;
  Dl_info where;
  if (dladdr(map->l_ld, &where) == 0) return nullptr;
  return AsModule(where.dli_fbase);
}

// A loader handle for `module` that the caller closes, or null.
void *OpenHandle(HMODULE module) {
  if (module == ExecutableModule()) return dlopen(nullptr, RTLD_LAZY);
  for (const LoadedObject &object : LoadedObjects())
    if (object.base == module && !object.name.empty())
      return dlopen(object.name.c_str(), RTLD_LAZY | RTLD_NOLOAD);
  return nullptr;
}

// Linux: Windows paths may use '\'; the loader sees '/'.
bool ToLoaderPath(const WCHAR *path, std::string &out) {
  if (!Utf8FromWide(path, out)) return false;
  std::replace(out.begin(), out.end(), '\\', '/');
  return true;
}

// Equal texts, or two names of one file (a relative name, a link to the file).
bool SamePath(const std::string &a, const std::string &b) {
  if (a == b) return true;
  char *ra = realpath(a.c_str(), nullptr);
  char *rb = realpath(b.c_str(), nullptr);
  bool same = ra != nullptr && rb != nullptr && std::strcmp(ra, rb) == 0;
  std::free(ra);
  std::free(rb);
  return same;
}

std::string BaseName(const std::string &path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

BOOL KzRegisterStringTable(const KzStringResource *table, std::size_t count) {
  if (table == nullptr) return FALSE;
  HMODULE module = KzModuleFromAddress(table);
  if (module == nullptr) return FALSE;
  StringTables &all = Tables();
  std::lock_guard<std::mutex> hold(all.lock);
  all.tables.push_back({module, table, count});
  return TRUE;
}

void KzUnregisterStringTable(const KzStringResource *table) {
  StringTables &all = Tables();
  std::lock_guard<std::mutex> hold(all.lock);
  std::erase_if(all.tables, [table](const StringTable &t) { return t.entries == table; });
}

HMODULE KzModuleFromAddress(const void *address) {
  Dl_info where;
  if (address == nullptr || dladdr(address, &where) == 0) return nullptr;
  return AsModule(where.dli_fbase);
}

int LoadStringW(HINSTANCE module, UINT id, WCHAR *buffer, int max) {
  if (buffer == nullptr || max < 0) return 0;
  if (module == nullptr) module = ExecutableModule();
  const WCHAR *text = FindString(module, id);
  // An empty text counts as absent, as a zero-length string resource does.
  std::size_t length = text != nullptr ? wcslen(text) : 0;
  if (max == 0) {
    // Linux: a missing string also sets the pointer (to null) rather than leaving it as it was.
    *reinterpret_cast<const WCHAR **>(buffer) = length != 0 ? text : nullptr;
    return static_cast<int>(length);
  }
  std::size_t n = std::min(length, static_cast<std::size_t>(max) - 1);
  if (n != 0) std::memcpy(buffer, text, n * sizeof(WCHAR));
  // Linux: a missing string leaves an empty text rather than the buffer as it was.
  buffer[n] = 0;
  return static_cast<int>(n);
}

HMODULE LoadLibraryW(const WCHAR *path) { return LoadLibraryExW(path, nullptr, 0); }

// Linux: flags have no effect. A data-file load runs the module's initialisers like any other,
// since that is how its string tables become known.
HMODULE LoadLibraryExW(const WCHAR *path, HANDLE, DWORD) {
  std::string name;
  if (path == nullptr || path[0] == 0 || !ToLoaderPath(path, name)) {
    SetLastError(ERROR_INVALID_PARAMETER);
    return nullptr;
  }
  void *handle = dlopen(name.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  HMODULE base = BaseOfHandle(handle);
  if (base == nullptr) {
    dlclose(handle);
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  OpenedModules &opened = Opened();
  std::lock_guard<std::mutex> hold(opened.lock);
  auto it = std::find_if(opened.modules.begin(), opened.modules.end(),
                         [base](const OpenedModule &m) { return m.base == base; });
  if (it == opened.modules.end())
    opened.modules.push_back({base, handle, 1});
  else
    ++it->opens;  // the loader counts opens of one object and gives the same handle
  return base;
}

BOOL FreeLibrary(HMODULE module) {
  void *handle = nullptr;
  {
    OpenedModules &opened = Opened();
    std::lock_guard<std::mutex> hold(opened.lock);
    auto it = std::find_if(opened.modules.begin(), opened.modules.end(),
                           [module](const OpenedModule &m) { return m.base == module; });
    if (it != opened.modules.end()) {
      handle = it->handle;
      if (--it->opens == 0) opened.modules.erase(it);
    }
  }
  // Linux: only what LoadLibraryW opened can be freed; a handle from GetModuleHandleW cannot.
  if (handle == nullptr) {
    SetLastError(ERROR_INVALID_HANDLE);
    return FALSE;
  }
  // Closed outside the lock: the module's destructors may load or free modules themselves.
  dlclose(handle);
  return TRUE;
}

void *GetProcAddress(HMODULE module, const char *name) {
  // Linux: there are no ordinals; a name below 0x10000 is an ordinal on Windows.
  if (reinterpret_cast<std::uintptr_t>(name) < 0x10000) {
    SetLastError(ERROR_PROC_NOT_FOUND);
    return nullptr;
  }
  if (module == nullptr) module = ExecutableModule();
  void *handle = OpenHandle(module);
  if (handle == nullptr) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  void *symbol = dlsym(handle, name);
  dlclose(handle);
  if (symbol == nullptr) SetLastError(ERROR_PROC_NOT_FOUND);
  return symbol;
}

DWORD GetModuleFileNameW(HMODULE module, WCHAR *buffer, DWORD size) {
  std::string path;
  if (!ModulePath(module, path)) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return 0;
  }
  if (size == 0 || buffer == nullptr) {
    SetLastError(ERROR_INSUFFICIENT_BUFFER);
    return 0;
  }
  std::u16string wide = WideFromUtf8(path);
  if (wide.size() < size) {
    std::memcpy(buffer, wide.c_str(), (wide.size() + 1) * sizeof(WCHAR));
    return static_cast<DWORD>(wide.size());
  }
  std::memcpy(buffer, wide.data(), (size - 1) * sizeof(WCHAR));
  buffer[size - 1] = 0;
  SetLastError(ERROR_INSUFFICIENT_BUFFER);
  return size;
}

HMODULE GetModuleHandleW(const WCHAR *name) {
  if (name == nullptr) return ExecutableModule();
  std::string wanted;
  if (!ToLoaderPath(name, wanted) || wanted.empty()) {
    SetLastError(ERROR_MOD_NOT_FOUND);
    return nullptr;
  }
  // Linux: names compare with case, as file names do here, and no ".dll" is supplied.
  const bool whole_path = wanted.find('/') != std::string::npos;
  for (const LoadedObject &object : LoadedObjects()) {
    std::string path = object.executable ? ExecutablePath() : object.name;
    if (path.empty()) continue;
    if (whole_path ? SamePath(path, wanted) : BaseName(path) == wanted) return object.base;
  }
  SetLastError(ERROR_MOD_NOT_FOUND);
  return nullptr;
}

BOOL SetDllDirectoryW(const WCHAR *) { return TRUE; }
