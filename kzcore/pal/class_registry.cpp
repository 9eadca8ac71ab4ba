// The class registry behind CoCreateInstance, CoGetClassObject and the programmatic identifiers:
// factories registered in this process by the modules that implement the classes, and classes
// that configuration files name with the module serving them.
#include <kzcore/pal/class_registry.h>

#include <dlfcn.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string>
#include <utility>
#include <vector>

#include <kzcore/pal/internal/class_registry.h>
#include <kzcore/pal/internal/guid_parse.h>

namespace {

using kz::pal::internal::kGuidTextLength;
using kz::pal::internal::ParseGuidText;

struct Registration {
  DWORD cookie;
  CLSID clsid;
  IUnknown *factory;  // one reference, held until revoked
  DWORD context;
  DWORD flags;
  bool used;  // a single-use registration that has answered once
};

// A class named by a configuration file.
struct ConfiguredClass {
  CLSID clsid;
  std::string module;  // as handed to the loader; empty when the class is registered in process
  std::u16string prog_id;
  std::vector<GUID> categories;
  std::string file;
  unsigned line;
};

// A class module loaded for a configured class. Never unloaded: objects and factories it made
// may live anywhere in the process.
struct LoadedModule {
  std::string path;
  KzDllGetClassObjectProc entry;
};

struct Registry {
  // Shared by the lookups of multiple-use classes, which are nearly all that a running process
  // does (every object made by class identifier passes here); everything else takes it alone.
  std::shared_mutex lock;
  std::vector<Registration> entries;
  DWORD last_cookie = 0;
  std::vector<std::pair<CLSID, std::u16string>> prog_ids;  // registered in process, latest last
  std::vector<std::pair<CLSID, GUID>> memberships;         // class, category; registered in process
  bool configuration_read = false;
  std::vector<ConfiguredClass> configured;
  std::vector<KzClassConfigurationIssue> issues;
  std::vector<LoadedModule> modules;
  ULONG version = 1;
};

// Never destroyed: modules revoke their classes from their own static destructors, which may run
// after this library's.
Registry &TheRegistry() {
  static Registry *registry = new Registry;
  return *registry;
}

// Configuration files -----------------------------------------------------------------------------

void AddIssue(Registry &registry, const std::string &file, unsigned line, std::string reason) {
  for (const KzClassConfigurationIssue &issue : registry.issues)
    if (issue.file == file && issue.line == line && issue.reason == reason) return;
  registry.issues.push_back({file, line, std::move(reason)});
}

bool ParseGuidToken(const std::string &token, GUID &guid) {
  return token.size() == kGuidTextLength && ParseGuidText(token.c_str(), guid);
}

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\v' || c == '\f'; }

// Splits a line into its fields, dropping a comment. A field in double quotes may hold blanks.
// False, with the reason, for a quote that is not closed.
bool SplitFields(const std::string &line, std::vector<std::string> &fields, std::string &reason) {
  std::size_t i = 0;
  while (i < line.size()) {
    if (IsBlank(line[i])) {
      ++i;
      continue;
    }
    if (line[i] == '#') break;
    if (line[i] == '"') {
      std::size_t close = line.find('"', i + 1);
      if (close == std::string::npos) {
        reason = "a quoted field is not closed";
        return false;
      }
      fields.push_back(line.substr(i + 1, close - i - 1));
      i = close + 1;
      continue;
    }
    std::size_t end = i;
    while (end < line.size() && !IsBlank(line[end])) ++end;
    fields.push_back(line.substr(i, end - i));
    i = end;
  }
  return true;
}

std::u16string Widen(const std::string &ascii) { return std::u16string(ascii.begin(), ascii.end()); }

std::string Folder(const std::string &path) {
  std::size_t slash = path.rfind('/');
  return slash == std::string::npos ? std::string(".") : path.substr(0, slash);
}

// Reads one line into `out`; false with the reason when it cannot be used. Blank and comment
// lines give false with an empty reason.
bool ParseLine(const Registry &registry, const std::string &file, const std::string &line,
               ConfiguredClass &out, std::string &reason) {
  if (line.find('\0') != std::string::npos) {
    reason = "the line holds a zero byte";
    return false;
  }
  std::vector<std::string> fields;
  if (!SplitFields(line, fields, reason)) return false;
  if (fields.empty()) return false;
  if (!ParseGuidToken(fields[0], out.clsid)) {
    reason = "not a class identifier: \"" + fields[0] + "\"";
    return false;
  }
  if (fields.size() < 2 || fields[1].empty()) {
    reason = "no module after the class identifier";
    return false;
  }
  const std::string &module = fields[1];
  if (module == "-")
    out.module.clear();
  else if (module[0] != '/' && module.find('/') != std::string::npos)
    out.module = Folder(file) + "/" + module;
  else
    out.module = module;
  bool has_prog_id = false;
  for (std::size_t i = 2; i < fields.size(); ++i) {
    const std::string &option = fields[i];
    if (option.rfind("progid=", 0) == 0) {
      std::u16string prog_id = Widen(option.substr(7));
      if (has_prog_id) {
        reason = "progid is given twice";
        return false;
      }
      // Only ASCII passes the rule, so widening byte by byte loses nothing that could pass.
      if (!kz::pal::internal::IsValidProgID(prog_id)) {
        reason = "not a valid programmatic identifier: \"" + option.substr(7) + "\"";
        return false;
      }
      has_prog_id = true;
      out.prog_id = std::move(prog_id);
    } else if (option.rfind("category=", 0) == 0) {
      GUID category;
      if (!ParseGuidToken(option.substr(9), category)) {
        reason = "not a category identifier: \"" + option.substr(9) + "\"";
        return false;
      }
      out.categories.push_back(category);
    } else {
      reason = "unknown option: \"" + option + "\"";
      return false;
    }
  }
  for (const ConfiguredClass &earlier : registry.configured) {
    if (earlier.clsid == out.clsid) {
      reason = "the class is defined already at " + earlier.file + ":" + std::to_string(earlier.line);
      return false;
    }
  }
  return true;
}

// `named`: the file was asked for by name, so its absence is a problem worth telling.
void ReadConfigurationFile(Registry &registry, const std::string &file, bool named) {
  std::FILE *in = std::fopen(file.c_str(), "rb");
  if (in == nullptr) {
    if (named || errno != ENOENT) AddIssue(registry, file, 0, std::string("cannot be read: ") + std::strerror(errno));
    return;
  }
  char *buffer = nullptr;
  std::size_t capacity = 0;
  unsigned number = 0;
  errno = 0;
  for (ssize_t length; (length = getline(&buffer, &capacity, in)) >= 0;) {
    ++number;
    std::string line(buffer, static_cast<std::size_t>(length));
    if (!line.empty() && line.back() == '\n') line.pop_back();
    ConfiguredClass entry{};
    std::string reason;
    if (!ParseLine(registry, file, line, entry, reason)) {
      if (!reason.empty()) AddIssue(registry, file, number, std::move(reason));
      continue;
    }
    entry.file = file;
    entry.line = number;
    registry.configured.push_back(std::move(entry));
  }
  // A folder opens but cannot be read.
  if (std::ferror(in)) AddIssue(registry, file, 0, std::string("cannot be read: ") + std::strerror(errno));
  std::free(buffer);
  std::fclose(in);
}

// The installation's configuration folder, from where this library lies: the relative path from
// the library folder to it is fixed when the library is built.
std::string InstalledConfigurationFile() {
#ifdef KZ_SYSCONF_FROM_LIBDIR
  Dl_info where;
  if (dladdr(reinterpret_cast<const void *>(&InstalledConfigurationFile), &where) == 0 || where.dli_fname == nullptr)
    return {};
  return Folder(where.dli_fname) + "/" KZ_SYSCONF_FROM_LIBDIR "/kzcore/classes.conf";
#else
  return {};
#endif
}

void ReadConfiguration(Registry &registry) {
  registry.configuration_read = true;
  registry.configured.clear();
  registry.issues.clear();
  ++registry.version;
  if (const char *list = std::getenv("KZCORE_CLASSES"); list != nullptr) {
    std::string files = list;
    std::size_t start = 0;
    while (start <= files.size()) {
      std::size_t end = files.find(':', start);
      if (end == std::string::npos) end = files.size();
      if (end > start) ReadConfigurationFile(registry, files.substr(start, end - start), true);
      start = end + 1;
    }
    return;
  }
  std::string user;
  if (const char *config = std::getenv("XDG_CONFIG_HOME"); config != nullptr && config[0] == '/')
    user = config;
  else if (const char *home = std::getenv("HOME"); home != nullptr && home[0] != 0)
    user = std::string(home) + "/.config";
  if (!user.empty()) ReadConfigurationFile(registry, user + "/kzcore/classes.conf", false);
  std::string installed = InstalledConfigurationFile();
  if (!installed.empty()) ReadConfigurationFile(registry, installed, false);
}

// Under the registry lock.
void EnsureConfiguration(Registry &registry) {
  if (!registry.configuration_read) ReadConfiguration(registry);
}

const ConfiguredClass *FindConfigured(const Registry &registry, REFCLSID clsid) {
  for (const ConfiguredClass &entry : registry.configured)
    if (entry.clsid == clsid) return &entry;
  return nullptr;
}

// The entry point of a class module, loading the module on first use. The loader runs outside
// the registry lock: a module's initialisers may register classes of their own.
HRESULT ModuleEntry(const std::string &module, const std::string &file, unsigned line,
                    KzDllGetClassObjectProc &entry) {
  Registry &registry = TheRegistry();
  {
    std::lock_guard<std::shared_mutex> hold(registry.lock);
    for (const LoadedModule &loaded : registry.modules) {
      if (loaded.path != module) continue;
      entry = loaded.entry;
      return S_OK;
    }
  }
  void *handle = dlopen(module.c_str(), RTLD_NOW | RTLD_LOCAL);
  if (handle == nullptr) {
    const char *error = dlerror();
    std::lock_guard<std::shared_mutex> hold(registry.lock);
    AddIssue(registry, file, line, std::string("the module cannot be loaded: ") + (error != nullptr ? error : module));
    return CO_E_DLLNOTFOUND;
  }
  entry = reinterpret_cast<KzDllGetClassObjectProc>(dlsym(handle, "DllGetClassObject"));
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  if (entry == nullptr) {
    dlclose(handle);
    AddIssue(registry, file, line, "the module " + module + " has no DllGetClassObject");
    return CO_E_ERRORINDLL;
  }
  // When another thread loaded it meanwhile, the loader counts both opens; neither is closed.
  registry.modules.push_back({module, entry});
  return S_OK;
}

// The one place where a class identifier is turned into its class object: the latest live
// registration in process whose context meets the request, else the module that the
// configuration names for the class (an in-process server).
HRESULT FindClassObject(REFCLSID clsid, DWORD context, REFIID riid, void **ppv) {
  *ppv = nullptr;
  Registry &registry = TheRegistry();
  IUnknown *factory = nullptr;
  std::string module, file;
  unsigned line = 0;
  {
    std::shared_lock<std::shared_mutex> reading(registry.lock);
    for (auto it = registry.entries.rbegin(); it != registry.entries.rend(); ++it) {
      if (it->clsid != clsid || (it->context & context) == 0 || it->used) continue;
      if (it->flags == REGCLS_SINGLEUSE) break;  // marked used below, under the lock alone
      it->factory->AddRef();
      factory = it->factory;
      break;
    }
  }
  if (factory == nullptr) {
    std::lock_guard<std::shared_mutex> hold(registry.lock);
    for (auto it = registry.entries.rbegin(); it != registry.entries.rend(); ++it) {
      if (it->clsid != clsid || (it->context & context) == 0 || it->used) continue;
      if (it->flags == REGCLS_SINGLEUSE) it->used = true;
      it->factory->AddRef();
      factory = it->factory;
      break;
    }
    if (factory == nullptr && (context & CLSCTX_INPROC_SERVER) != 0) {
      EnsureConfiguration(registry);
      if (const ConfiguredClass *entry = FindConfigured(registry, clsid); entry != nullptr) {
        module = entry->module;
        file = entry->file;
        line = entry->line;
      }
    }
  }
  if (factory != nullptr) {
    HRESULT hr = factory->QueryInterface(riid, ppv);
    factory->Release();
    return hr;
  }
  if (module.empty()) return REGDB_E_CLASSNOTREG;
  KzDllGetClassObjectProc entry = nullptr;
  HRESULT hr = ModuleEntry(module, file, line, entry);
  if (FAILED(hr)) return hr;
  hr = entry(clsid, riid, ppv);
  if (FAILED(hr)) *ppv = nullptr;
  return hr;
}

// Under the registry lock.
bool IsMemberLocked(Registry &registry, REFCLSID clsid, REFGUID category) {
  for (const auto &membership : registry.memberships)
    if (membership.first == clsid && membership.second == category) return true;
  EnsureConfiguration(registry);
  const ConfiguredClass *entry = FindConfigured(registry, clsid);
  if (entry == nullptr) return false;
  for (const GUID &member_of : entry->categories)
    if (member_of == category) return true;
  return false;
}

bool SameProgID(std::u16string_view a, std::u16string_view b) {
  if (a.size() != b.size()) return false;
  auto lower = [](char16_t c) { return c >= u'A' && c <= u'Z' ? static_cast<char16_t>(c - u'A' + u'a') : c; };
  for (std::size_t i = 0; i < a.size(); ++i)
    if (lower(a[i]) != lower(b[i])) return false;
  return true;
}

}  // namespace

namespace kz::pal::internal {

bool IsValidProgID(std::u16string_view prog_id) {
  if (prog_id.empty() || prog_id.size() > 39) return false;
  if (prog_id[0] >= u'0' && prog_id[0] <= u'9') return false;
  for (char16_t c : prog_id) {
    bool letter = (c >= u'a' && c <= u'z') || (c >= u'A' && c <= u'Z');
    bool digit = c >= u'0' && c <= u'9';
    if (!letter && !digit && c != u'.') return false;
  }
  return true;
}

bool ProgIDOfClass(REFCLSID clsid, std::u16string &prog_id) {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  for (auto it = registry.prog_ids.rbegin(); it != registry.prog_ids.rend(); ++it) {
    if (it->first != clsid) continue;
    prog_id = it->second;
    return true;
  }
  EnsureConfiguration(registry);
  const ConfiguredClass *entry = FindConfigured(registry, clsid);
  if (entry == nullptr || entry->prog_id.empty()) return false;
  prog_id = entry->prog_id;
  return true;
}

bool ClassOfProgID(std::u16string_view prog_id, CLSID &clsid) {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  for (auto it = registry.prog_ids.rbegin(); it != registry.prog_ids.rend(); ++it) {
    if (!SameProgID(it->second, prog_id)) continue;
    clsid = it->first;
    return true;
  }
  EnsureConfiguration(registry);
  for (const ConfiguredClass &entry : registry.configured) {
    if (entry.prog_id.empty() || !SameProgID(entry.prog_id, prog_id)) continue;
    clsid = entry.clsid;
    return true;
  }
  return false;
}

}  // namespace kz::pal::internal

HRESULT CoRegisterClassObject(REFCLSID clsid, IUnknown *factory, DWORD context, DWORD flags, DWORD *cookie) {
  if (cookie != nullptr) *cookie = 0;
  if (factory == nullptr || cookie == nullptr) return E_INVALIDARG;
  Registry &registry = TheRegistry();
  factory->AddRef();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  // Cookies are never reused, so a stale cookie cannot revoke a later registration.
  DWORD next = ++registry.last_cookie;
  registry.entries.push_back({next, clsid, factory, context, flags, false});
  *cookie = next;
  return S_OK;
}

HRESULT CoRevokeClassObject(DWORD cookie) {
  IUnknown *factory = nullptr;
  {
    Registry &registry = TheRegistry();
    std::lock_guard<std::shared_mutex> hold(registry.lock);
    for (auto it = registry.entries.begin(); it != registry.entries.end(); ++it) {
      if (it->cookie != cookie) continue;
      factory = it->factory;
      registry.entries.erase(it);
      break;
    }
  }
  if (factory == nullptr) return CO_E_OBJNOTREG;
  // Released outside the lock: the factory's last release may unload code that revokes more.
  factory->Release();
  return S_OK;
}

HRESULT CoGetClassObject(REFCLSID clsid, DWORD context, void *, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_INVALIDARG;
  return FindClassObject(clsid, context, riid, ppv);
}

HRESULT CoCreateInstance(REFCLSID clsid, IUnknown *outer, DWORD context, REFIID riid, void **ppv) {
  if (ppv == nullptr) return E_POINTER;
  *ppv = nullptr;
  IClassFactory *factory;
  HRESULT hr =
      CoGetClassObject(clsid, context, nullptr, KZ_IID(IClassFactory), reinterpret_cast<void **>(&factory));
  if (FAILED(hr)) return hr;
  if (factory == nullptr) return E_UNEXPECTED;  // a module's entry point that said yes and gave nothing
  hr = factory->CreateInstance(outer, riid, ppv);
  factory->Release();
  return hr;
}

HRESULT OleRun(IUnknown *object) { return object == nullptr ? E_INVALIDARG : S_OK; }

HRESULT KzRegisterProgID(REFCLSID clsid, LPCOLESTR prog_id) {
  if (prog_id == nullptr || !kz::pal::internal::IsValidProgID(prog_id)) return E_INVALIDARG;
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  std::erase_if(registry.prog_ids, [&](const auto &entry) { return entry.first == clsid; });
  registry.prog_ids.emplace_back(clsid, prog_id);
  return S_OK;
}

HRESULT KzRegisterClassCategory(REFCLSID clsid, REFGUID category) {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  if (IsMemberLocked(registry, clsid, category)) return S_FALSE;
  registry.memberships.emplace_back(clsid, category);
  ++registry.version;
  return S_OK;
}

bool KzIsClassOfCategory(REFCLSID clsid, REFGUID category) {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  return IsMemberLocked(registry, clsid, category);
}

std::vector<CLSID> KzClassesOfCategory(REFGUID category) {
  std::vector<CLSID> members;
  auto add = [&members](REFCLSID clsid) {
    for (const CLSID &known : members)
      if (known == clsid) return;
    members.push_back(clsid);
  };
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  EnsureConfiguration(registry);
  for (const ConfiguredClass &entry : registry.configured)
    for (const GUID &member_of : entry.categories)
      if (member_of == category) add(entry.clsid);
  for (const auto &membership : registry.memberships)
    if (membership.second == category) add(membership.first);
  return members;
}

ULONG KzClassRegistryVersion() {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  return registry.version;
}

void KzReloadClassConfiguration() {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  ReadConfiguration(registry);
}

std::vector<KzClassConfigurationIssue> KzClassConfigurationIssues() {
  Registry &registry = TheRegistry();
  std::lock_guard<std::shared_mutex> hold(registry.lock);
  EnsureConfiguration(registry);
  return registry.issues;
}
