// Holds what was built against the catalogue: the type library line by line, the version resource, the
// manifest. KVWMI_TESTED_LIBRARY names the built library, the one in the current folder unless told.

#include <gtest/gtest.h>
#include <windows.h>

#include <oleauto.h>

#include <array>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "frame/class_catalogue.h"
#include "windows/com/guid.h"
#include "windows/text/bstr.h"
#include "windows/win32/com_ptr.h"

namespace {

using kvwmi::catalogue::Class;
using kvwmi::catalogue::Default;
using kvwmi::catalogue::Kind;
using kvwmi::catalogue::kTypeLibrary;
using kvwmi::catalogue::Member;
using kvwmi::catalogue::MemberKind;
using kvwmi::catalogue::Parameter;
using kvwmi::catalogue::Passing;
using kvwmi::catalogue::Type;
using kvwmi::ground::ComPtr;
using kvwmi::windows::Bstr;

using Lines = std::vector<std::string>;

std::string tested_library() {
  const char* told = std::getenv("KVWMI_TESTED_LIBRARY");
  return told ? told : "KVWMI.dll";
}

std::string hexadecimal(unsigned long number) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%08lX", number);
  return text.data();
}

std::string text_of(const GUID& id) {
  std::array<wchar_t, 40> text{};
  StringFromGUID2(id, text.data(), static_cast<int>(text.size()));
  return kvwmi::windows::to_utf8(std::wstring_view(text.data()));
}

// A type library tells names by identifier, and the two accessors of a property share one: the value of the
// writing accessor has no name of its own there.
constexpr const char* kValue = "value";

// --- The catalogue as lines ---

std::string text_of(const Type& type) {
  switch (type.kind) {
    case Kind::none:
      return "none";
    case Kind::long_integer:
      return "long";
    case Kind::boolean:
      return "boolean";
    case Kind::currency:
      return "currency";
    case Kind::string:
      return "string";
    case Kind::string_array:
      return "array of string";
    case Kind::object:
      return "object _" + std::string(type.class_name);
    case Kind::enumerator:
      return "enumerator";
  }
  return "?";
}

std::string text_of(const Default& value) {
  if (const auto* number = std::get_if<std::int32_t>(&value)) return "long " + std::to_string(*number);
  if (const auto* flag = std::get_if<bool>(&value)) return *flag ? "boolean -1" : "boolean 0";
  return "string \"" + std::string(std::get<std::string_view>(value)) + "\"";
}

std::string line_of(const Member& member, std::size_t slot) {
  constexpr std::array kKinds{"method", "get", "let"};
  std::string line = std::to_string(slot) + " " + hexadecimal(member.dispatch_id) + " " +
                     kKinds[static_cast<std::size_t>(member.kind)] + " " + std::string(member.name) + "(";
  for (const Parameter& parameter : member.parameters) {
    line += parameter.passing == Passing::by_reference ? " [in, out] " : " [in] ";
    line += text_of(parameter.type) + " ";
    line += member.kind == MemberKind::property_let ? kValue : std::string(parameter.name);
    if (parameter.default_value) line += " optional = " + text_of(*parameter.default_value);
    line += ";";
  }
  return line + " ) " + text_of(member.result);
}

Lines lines_of_catalogue() {
  Lines lines{"library " + std::string(kTypeLibrary.name) + " " + std::string(kTypeLibrary.id) + " " +
              std::to_string(kTypeLibrary.major_version) + "." + std::to_string(kTypeLibrary.minor_version) +
              " \"" + std::string(kTypeLibrary.help_string) + "\""};
  for (const Class& entry : kTypeLibrary.classes) {
    lines.push_back("interface " + std::string(entry.interface_name) + " " + std::string(entry.interface_id) +
                    " dual of IDispatch, " + std::to_string(entry.members.size()) + " members");
    std::size_t slot = 0;
    for (const Member& member : entry.members) lines.push_back(line_of(member, slot++));
  }
  for (const Class& entry : kTypeLibrary.classes) {
    lines.push_back("class " + std::string(entry.name) + " " + std::string(entry.class_id) + " \"" +
                    std::string(entry.role) + "\" creatable, default " + std::string(entry.interface_name));
  }
  return lines;
}

// --- The built type library as lines ---

/// Attributes of a type that are given back with it.
class Attributes {
 public:
  explicit Attributes(ITypeInfo& info) : info_(info) {
    if (FAILED(info_.GetTypeAttr(&attributes_))) throw std::runtime_error("GetTypeAttr");
  }
  ~Attributes() { info_.ReleaseTypeAttr(attributes_); }
  Attributes(const Attributes&) = delete;
  Attributes& operator=(const Attributes&) = delete;
  const TYPEATTR* operator->() const { return attributes_; }

 private:
  ITypeInfo& info_;
  TYPEATTR* attributes_ = nullptr;
};

std::string name_of(ITypeInfo& info, MEMBERID member = MEMBERID_NIL) {
  Bstr name;
  info.GetDocumentation(member, name.receive(), nullptr, nullptr, nullptr);
  return kvwmi::windows::from_bstr(name.get());
}

std::string help_of(ITypeInfo& info) {
  Bstr text;
  info.GetDocumentation(MEMBERID_NIL, nullptr, text.receive(), nullptr, nullptr);
  return kvwmi::windows::from_bstr(text.get());
}

ComPtr<ITypeInfo> referred(ITypeInfo& info, HREFTYPE reference) {
  ComPtr<ITypeInfo> result;
  if (FAILED(info.GetRefTypeInfo(reference, result.put()))) throw std::runtime_error("GetRefTypeInfo");
  return result;
}

std::string type_text(ITypeInfo& info, const TYPEDESC& type) {
  switch (type.vt) {
    case VT_I4:
      return "long";
    case VT_BOOL:
      return "boolean";
    case VT_CY:
      return "currency";
    case VT_BSTR:
      return "string";
    case VT_UNKNOWN:
      return "enumerator";
    case VT_SAFEARRAY:
      return "array of " + type_text(info, *type.lptdesc);
    case VT_PTR:
      return "pointer to " + type_text(info, *type.lptdesc);
    case VT_USERDEFINED:
      return name_of(*referred(info, type.hreftype).get());
    default:
      return "type " + std::to_string(type.vt);
  }
}

/// The type of a parameter as a client means it: a pointer to an interface is an object.
std::string value_text(ITypeInfo& info, const TYPEDESC& type) {
  if (type.vt == VT_PTR && type.lptdesc->vt == VT_USERDEFINED) {
    return "object " + type_text(info, *type.lptdesc);
  }
  return type_text(info, type);
}

std::string default_text(const VARIANT& value) {
  switch (V_VT(&value)) {
    case VT_I4:
      return "long " + std::to_string(V_I4(&value));
    case VT_BOOL:
      return "boolean " + std::to_string(V_BOOL(&value));
    case VT_BSTR:
      return "string \"" + kvwmi::windows::from_bstr(V_BSTR(&value)) + "\"";
    default:
      return "type " + std::to_string(V_VT(&value));
  }
}

std::string parameter_text(ITypeInfo& info, const ELEMDESC& parameter, const std::string& name) {
  const USHORT flags = parameter.paramdesc.wParamFlags;
  const bool by_reference = (flags & PARAMFLAG_FOUT) != 0;
  std::string text = flags & PARAMFLAG_FIN ? " [in" : " [";
  text += by_reference ? ", out] " : "] ";
  text += by_reference
              ? (parameter.tdesc.vt == VT_PTR ? value_text(info, *parameter.tdesc.lptdesc) : "no reference")
              : value_text(info, parameter.tdesc);
  text += " " + name;
  if (flags & PARAMFLAG_FOPT) text += " optional";
  if (flags & PARAMFLAG_FHASDEFAULT) {
    text += " = " + default_text(parameter.paramdesc.pparamdescex->varDefaultValue);
  }
  return text + ";";
}

std::string function_line(ITypeInfo& info, UINT index, std::size_t pointer_size) {
  FUNCDESC* function = nullptr;
  if (FAILED(info.GetFuncDesc(index, &function))) throw std::runtime_error("GetFuncDesc");
  constexpr std::size_t kMembersOfIDispatch = 7;
  std::string line =
      std::to_string(static_cast<std::size_t>(function->oVft) / pointer_size - kMembersOfIDispatch) + " " +
      hexadecimal(static_cast<unsigned long>(function->memid)) + " ";
  line += function->invkind == INVOKE_FUNC          ? "method"
          : function->invkind == INVOKE_PROPERTYGET ? "get"
          : function->invkind == INVOKE_PROPERTYPUT ? "let"
                                                    : "?";
  line += " " + name_of(info, function->memid) + "(";

  std::vector<BSTR> names(static_cast<std::size_t>(function->cParams) + 1, nullptr);
  UINT known = 0;
  info.GetNames(function->memid, names.data(), static_cast<UINT>(names.size()), &known);
  std::string result = "none";
  for (SHORT i = 0; i < function->cParams; ++i) {
    const ELEMDESC& parameter = function->lprgelemdescParam[i];
    if (parameter.paramdesc.wParamFlags & PARAMFLAG_FRETVAL) {
      result = parameter.tdesc.vt == VT_PTR ? value_text(info, *parameter.tdesc.lptdesc) : "no reference";
      continue;
    }
    const std::string own = kvwmi::windows::from_bstr(names[static_cast<std::size_t>(i) + 1]);
    line += parameter_text(info, parameter, function->invkind == INVOKE_PROPERTYPUT ? kValue : own);
  }
  for (BSTR name : names) SysFreeString(name);
  if (function->elemdescFunc.tdesc.vt != VT_HRESULT) line += " without HRESULT";
  if (function->callconv != CC_STDCALL) line += " not stdcall";
  info.ReleaseFuncDesc(function);
  return line + " ) " + result;
}

void add_interface(ITypeInfo& dispatch, std::size_t pointer_size, Lines& lines) {
  const Attributes attributes(dispatch);
  HREFTYPE dual = 0;
  if (FAILED(dispatch.GetRefTypeOfImplType(static_cast<UINT>(-1), &dual))) {
    lines.push_back(name_of(dispatch) + " is not dual");
    return;
  }
  const auto members = referred(dispatch, dual);
  const Attributes own(*members.get());
  HREFTYPE base = 0;
  members.get()->GetRefTypeOfImplType(0, &base);
  lines.push_back("interface " + name_of(dispatch) + " " + text_of(attributes->guid) +
                  (attributes->wTypeFlags & TYPEFLAG_FDUAL ? " dual" : " not dual") + " of " +
                  name_of(*referred(*members.get(), base).get()) + ", " + std::to_string(own->cFuncs) +
                  " members");
  for (UINT i = 0; i < own->cFuncs; ++i) lines.push_back(function_line(*members.get(), i, pointer_size));
}

void add_class(ITypeInfo& info, Lines& lines) {
  const Attributes attributes(info);
  std::string line =
      "class " + name_of(info) + " " + text_of(attributes->guid) + " \"" + help_of(info) + "\"";
  line += attributes->wTypeFlags & TYPEFLAG_FCANCREATE ? " creatable" : " not creatable";
  for (UINT i = 0; i < attributes->cImplTypes; ++i) {
    int flags = 0;
    HREFTYPE reference = 0;
    info.GetImplTypeFlags(i, &flags);
    info.GetRefTypeOfImplType(i, &reference);
    line += flags == IMPLTYPEFLAG_FDEFAULT ? ", default " : ", other ";
    line += name_of(*referred(info, reference).get());
  }
  lines.push_back(line);
}

Lines lines_of(ITypeLib& library) {
  TLIBATTR* attributes = nullptr;
  if (FAILED(library.GetLibAttr(&attributes))) throw std::runtime_error("GetLibAttr");
  Bstr name;
  Bstr help;
  library.GetDocumentation(-1, name.receive(), help.receive(), nullptr, nullptr);
  Lines lines{"library " + kvwmi::windows::from_bstr(name.get()) + " " + text_of(attributes->guid) + " " +
              std::to_string(attributes->wMajorVerNum) + "." + std::to_string(attributes->wMinorVerNum) +
              " \"" + kvwmi::windows::from_bstr(help.get()) + "\""};
  // Slots are told for the system that the library is read on.
  library.ReleaseTLibAttr(attributes);
  for (UINT i = 0; i < library.GetTypeInfoCount(); ++i) {
    TYPEKIND kind{};
    library.GetTypeInfoType(i, &kind);
    ComPtr<ITypeInfo> info;
    library.GetTypeInfo(i, info.put());
    if (kind == TKIND_DISPATCH) {
      add_interface(*info.get(), sizeof(void*), lines);
    } else if (kind == TKIND_COCLASS) {
      add_class(*info.get(), lines);
    } else {
      lines.push_back("type of another kind: " + name_of(*info.get()));
    }
  }
  return lines;
}

TEST(Contract, TheTypeLibraryIsTheCatalogue) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadTypeLibEx(kvwmi::windows::to_utf16(tested_library()).c_str(), REGKIND_NONE, library.put()),
            S_OK)
      << tested_library();
  const Lines built = lines_of(*library.get());
  const Lines expected = lines_of_catalogue();
  for (std::size_t i = 0; i < std::min(built.size(), expected.size()); ++i) EXPECT_EQ(built[i], expected[i]);
  EXPECT_EQ(built.size(), expected.size());
  // 7 interfaces and 7 classes with 81 members.
  EXPECT_EQ(expected.size(), 1U + 7 + 7 + 81);
}

TEST(Contract, TheTypeLibraryIsOfTheLibrarysSystem) {
  ComPtr<ITypeLib> library;
  ASSERT_EQ(LoadTypeLibEx(kvwmi::windows::to_utf16(tested_library()).c_str(), REGKIND_NONE, library.put()),
            S_OK);
  std::ifstream file(tested_library(), std::ios::binary);
  const std::string head(std::istreambuf_iterator<char>(file), {});
  // The machine is told two bytes after the four of "PE".
  const auto at = [&](std::size_t offset) { return static_cast<unsigned char>(head[offset]); };
  const std::size_t signature = at(0x3C) + (std::size_t{at(0x3D)} << 8);
  ASSERT_EQ(head.substr(signature, 2), "PE");
  const unsigned machine = at(signature + 4) + (unsigned{at(signature + 5)} << 8);
  TLIBATTR* attributes = nullptr;
  ASSERT_EQ(library->GetLibAttr(&attributes), S_OK);
  EXPECT_EQ(attributes->syskind, machine == IMAGE_FILE_MACHINE_AMD64 ? SYS_WIN64 : SYS_WIN32);
  library->ReleaseTLibAttr(attributes);
}

TEST(Contract, TheVersionResourceTellsNameAndVersion) {
  const std::wstring path = kvwmi::windows::to_utf16(tested_library());
  DWORD handle = 0;
  std::vector<char> data(GetFileVersionInfoSizeW(path.c_str(), &handle));
  ASSERT_FALSE(data.empty());
  ASSERT_TRUE(GetFileVersionInfoW(path.c_str(), 0, static_cast<DWORD>(data.size()), data.data()));
  void* value = nullptr;
  UINT size = 0;
  ASSERT_TRUE(VerQueryValueW(data.data(), L"\\", &value, &size));
  const auto* fixed = static_cast<const VS_FIXEDFILEINFO*>(value);
  EXPECT_EQ(fixed->dwFileVersionMS, MAKELONG(kTypeLibrary.minor_version, kTypeLibrary.major_version));
  EXPECT_EQ(fixed->dwFileType, DWORD{VFT_DLL});
  const std::vector<std::pair<const wchar_t*, std::wstring>> texts{{L"ProductName", L"KVWMI"},
                                                                   {L"OriginalFilename", L"KVWMI.dll"}};
  for (const auto& [name, expected] : texts) {
    const std::wstring key = std::wstring(L"\\StringFileInfo\\040904B0\\") + name;
    ASSERT_TRUE(VerQueryValueW(data.data(), key.c_str(), &value, &size));
    EXPECT_EQ(static_cast<const wchar_t*>(value), expected);
  }
}

std::string shipped_manifest() {
  const std::string library = tested_library();
  const std::string folder = library.substr(0, library.find_last_of("/\\") + 1);
  std::ifstream file(folder + "KVWMI.manifest", std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

/// The manifest that a library holds as its assembly's own.
std::string embedded_manifest() {
  const std::wstring path = kvwmi::windows::to_utf16(tested_library());
  const HMODULE library =
      LoadLibraryExW(path.c_str(), nullptr, LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
  if (!library) return "";
  std::string text;
  if (const HRSRC found = FindResourceW(library, MAKEINTRESOURCEW(1), MAKEINTRESOURCEW(24))) {
    text.assign(static_cast<const char*>(LockResource(LoadResource(library, found))),
                SizeofResource(library, found));
  }
  FreeLibrary(library);
  return text;
}

/// An assembly of its library's name is found in the library only; the file is for those who name a file.
TEST(Contract, TheLibraryHoldsItsManifest) {
  EXPECT_NE(embedded_manifest(), "");
  EXPECT_EQ(embedded_manifest(), shipped_manifest());
}

/// Which of the classes are built, and so offered, is held by the tests of the server.
TEST(Contract, TheManifestIsOfTheCatalogue) {
  const std::string manifest = shipped_manifest();
  const auto count = [&](const std::string& text) {
    std::size_t found = 0;
    for (std::size_t at = manifest.find(text); at != std::string::npos; at = manifest.find(text, at + 1))
      ++found;
    return found;
  };
  const std::string library_id(kTypeLibrary.id);
  EXPECT_EQ(count("<typelib tlbid=\"" + library_id + "\" version=\"2.0\""), 1U);
  EXPECT_EQ(count("<assemblyIdentity type=\"win32\" name=\"KVWMI\" version=\"2.0.0.0\"/>\n  <file"), 1U);
  EXPECT_EQ(count("<comInterfaceExternalProxyStub "), kTypeLibrary.classes.size());
  std::size_t offered = 0;
  for (const Class& entry : kTypeLibrary.classes) {
    const std::string name(entry.name);
    const std::size_t found =
        count("<comClass clsid=\"" + std::string(entry.class_id) + "\" progid=\"KVWMI." + name +
              ".2\" threadingModel=\"Apartment\" tlbid=\"" + library_id + "\">\n      <progid>KVWMI." + name +
              "</progid>\n    </comClass>\n");
    EXPECT_LE(found, 1U) << name;
    offered += found;
    EXPECT_EQ(
        count("<comInterfaceExternalProxyStub name=\"" + std::string(entry.interface_name) + "\" iid=\"" +
              std::string(entry.interface_id) +
              "\" proxyStubClsid32=\"{00020424-0000-0000-C000-000000000046}\" tlbid=\"" + library_id + "\""),
        1U)
        << name;
  }
  EXPECT_NE(offered, 0U);
  EXPECT_EQ(count("<comClass "), offered);
  EXPECT_EQ(count("@"), 0U);
}

}  // namespace
