// Arguments that no client should pass, for every member of every class that the library makes: what a member
// takes is read from the catalogue, so that a new class is tested without a word here. WMI is a machine
// without anything.

#include <gtest/gtest.h>
#include <windows.h>

#include <oleauto.h>

#include <algorithm>
#include <array>
#include <memory>
#include <string>
#include <vector>

#include "automation.h"
#include "frame/class_catalogue.h"
#include "server.h"
#include "stand_in/class_objects.h"
#include "stand_in/repository.h"
#include "windows/com/coercion.h"
#include "windows/com/guid.h"

namespace {

namespace catalogue = kvwmi::catalogue;
using automation::Answer;
using automation::Bstr;
using automation::ComPtr;
using automation::Variant;
using catalogue::Kind;
using catalogue::Member;
using catalogue::MemberKind;
using catalogue::Parameter;
using catalogue::Passing;
using kvwmi::com::to_guid;
using kvwmi::stand_in::InProcessStandIn;
using kvwmi::stand_in::Repository;

std::vector<const catalogue::Class*> built_classes() {
  const server::LoadedLibrary library;
  std::vector<const catalogue::Class*> result;
  for (const catalogue::Class& type : catalogue::kTypeLibrary.classes) {
    ComPtr<IClassFactory> factory;
    if (library.class_object(to_guid(type.class_id), IID_PPV_ARGS(factory.put())) == S_OK)
      result.push_back(&type);
  }
  return result;
}

TEST(BuiltClasses, AreAllTested) {
  EXPECT_GE(built_classes().size(), 3U);
}

/// What a script gives to a parameter of that type.
Variant good_value(const catalogue::Type& type) {
  switch (type.kind) {
    case Kind::long_integer:
      return Variant::of(LONG{1});
    case Kind::boolean:
      return Variant::of(true);
    case Kind::currency:
      return Variant::currency(10'000);
    case Kind::string:
      return Variant::of("text");
    case Kind::string_array:
      return Variant::strings({"a"});
    default:
      return Variant();
  }
}

struct BadValue {
  Variant value;
  HRESULT answer = DISP_E_TYPEMISMATCH;
};

/// What no parameter of that type takes.
std::vector<BadValue> bad_values(const catalogue::Type& type) {
  std::vector<BadValue> result{{Variant::null()}};
  const auto square_of = [](VARTYPE element) {
    Variant made;
    SAFEARRAYBOUND bounds[2] = {{2, 0}, {2, 0}};
    V_ARRAY(&made.raw()) = SafeArrayCreate(element, 2, bounds);
    V_VT(&made.raw()) = static_cast<VARTYPE>(VT_ARRAY | element);
    return made;
  };
  const Variant stranger = [] {
    Variant made;
    V_VT(&made.raw()) = VT_UNKNOWN;
    CreateErrorInfo(reinterpret_cast<ICreateErrorInfo**>(&V_UNKNOWN(&made.raw())));
    return made;
  }();
  result.push_back({square_of(VT_VARIANT)});
  result.push_back({square_of(VT_BSTR)});
  if (type.kind == Kind::object) {
    result.push_back({Variant::of(LONG{1})});
    result.push_back({Variant::of("text")});
    result.push_back({stranger});
    return result;
  }
  result.push_back({stranger});
  if (type.kind == Kind::string_array) {
    result.push_back({Variant::of(LONG{1})});
    result.push_back({Variant::of("text")});
    result.push_back({Variant::array({Variant::null()})});
    return result;
  }
  result.push_back({Variant::of(static_cast<IDispatch*>(nullptr))});
  result.push_back({Variant::strings({"a"})});
  if (type.kind != Kind::string) {
    result.push_back({Variant::of("many")});
    result.push_back({Variant::of(std::string_view("1\0002", 3))});
    result.push_back({Variant::of(std::string(1'000'000, 'x'))});
  }
  if (type.kind == Kind::long_integer) result.push_back({Variant::of(3e9), DISP_E_OVERFLOW});
  if (type.kind == Kind::currency) result.push_back({Variant::of(1e15), DISP_E_OVERFLOW});
  return result;
}

bool has_text(const Member& member) {
  return std::any_of(member.parameters.begin(), member.parameters.end(),
                     [](const Parameter& parameter) { return parameter.type.kind == Kind::string; });
}

/// What a typed client gives to a member, with a place for everything that it gets back.
class TypedCall {
 public:
  explicit TypedCall(const Member& member) : values_(member.parameters.size() + 1) {
    for (std::size_t i = 0; i < member.parameters.size(); ++i) {
      add(member.parameters[i].type, member.parameters[i].passing == Passing::by_reference, i);
    }
    if (member.result.kind != Kind::none) add(member.result, true, values_.size() - 1);
  }
  ~TypedCall() {
    for (VARIANT& value : values_) VariantClear(&value);
  }
  TypedCall(const TypedCall&) = delete;
  TypedCall& operator=(const TypedCall&) = delete;

  [[nodiscard]] std::size_t size() const { return arguments_.size(); }
  [[nodiscard]] bool is_place(std::size_t i) const { return (V_VT(&arguments_[i]) & VT_BYREF) != 0; }
  void take_place_away(std::size_t i) { V_BYREF(&arguments_[i]) = nullptr; }

  /// Calls the member at `slot` of the interface, not counting those of IDispatch.
  HRESULT run(IDispatch& object, std::size_t slot) {
    constexpr std::size_t kMembersOfIDispatch = 7;
    std::vector<VARTYPE> types;
    std::vector<VARIANT*> arguments;
    for (VARIANT& argument : arguments_) {
      types.push_back(V_VT(&argument));
      arguments.push_back(&argument);
    }
    VARIANT status{};
    const HRESULT called =
        DispCallFunc(&object, (kMembersOfIDispatch + slot) * sizeof(void*), CC_STDCALL, VT_I4,
                     static_cast<UINT>(arguments.size()), types.data(), arguments.data(), &status);
    return FAILED(called) ? called : V_I4(&status);
  }

 private:
  /// Numbers are 0, and every string, array and object is null.
  void add(const catalogue::Type& type, bool by_reference, std::size_t position) {
    VARIANT& value = values_[position];
    VariantInit(&value);
    V_VT(&value) = kvwmi::com::vartype_of(type);
    VARIANT argument = value;
    if (by_reference) {
      V_VT(&argument) = static_cast<VARTYPE>(VT_BYREF | V_VT(&value));
      V_BYREF(&argument) = &V_I8(&value);
    }
    arguments_.push_back(argument);
  }

  std::vector<VARIANT> values_;
  std::vector<VARIANT> arguments_;
};

class WrongArguments : public testing::TestWithParam<const catalogue::Class*> {
 protected:
  WrongArguments() {
    EXPECT_EQ(CoCreateInstance(to_guid(type().class_id), nullptr, CLSCTX_INPROC_SERVER,
                               to_guid(type().interface_id), reinterpret_cast<void**>(object_.put())),
              S_OK);
    call_where_there_is_one("m_Initialize");
  }
  ~WrongArguments() override { call_where_there_is_one("m_Release"); }

  [[nodiscard]] static const catalogue::Class& type() { return *GetParam(); }

  Answer call(const Member& member, const std::vector<VARIANT>& arguments) {
    const auto id = static_cast<DISPID>(member.dispatch_id);
    switch (member.kind) {
      case MemberKind::property_get:
        return automation::invoke(*object_.get(), id, DISPATCH_PROPERTYGET, arguments);
      case MemberKind::property_let:
        return arguments.empty() ? automation::invoke(*object_.get(), id, DISPATCH_PROPERTYPUT, {})
                                 : automation::invoke(*object_.get(), id, DISPATCH_PROPERTYPUT, arguments,
                                                      {DISPID_PROPERTYPUT});
      default:
        return automation::invoke(*object_.get(), id, DISPATCH_METHOD, arguments);
    }
  }
  /// The failure of a member that was run has the class's number, or where it has none that of a run-time
  /// error.
  static bool is_own_failure(HRESULT status) {
    if (type().error_number) return status == static_cast<HRESULT>(*type().error_number);
    return (static_cast<std::uint32_t>(status) & 0xFFFF0000U) == 0x800A0000U;
  }
  static std::string tag(const Member& member) {
    return "\r\n\tKVWMI : " + std::string(type().name) + "." + std::string(member.name);
  }

  server::Apartment apartment_;
  server::RegistrationFree registration_free_;
  std::shared_ptr<Repository> machine_ = std::make_shared<Repository>();
  InProcessStandIn stand_in_{machine_};
  ComPtr<IDispatch> object_;

 private:
  void call_where_there_is_one(std::string_view name) {
    for (const Member& member : type().members) {
      if (member.name != name) continue;
      EXPECT_EQ(call(member, {}).status, S_OK);
    }
  }
};

INSTANTIATE_TEST_SUITE_P(Classes, WrongArguments, testing::ValuesIn(built_classes()),
                         [](const auto& type) { return std::string(type.param->name); });

TEST_P(WrongArguments, TooManyAreRefused) {
  for (const Member& member : type().members) {
    // An array property takes one index, so that there are two too many.
    const std::vector<VARIANT> arguments(member.parameters.size() + 2, Variant::of(LONG{1}).raw());
    EXPECT_EQ(call(member, arguments).status, DISP_E_BADPARAMCOUNT) << member.name;
  }
}

TEST_P(WrongArguments, TooFewAreRefused) {
  for (const Member& member : type().members) {
    std::vector<VARIANT> arguments;
    for (const Parameter& parameter : member.parameters) {
      if (parameter.default_value) break;
      EXPECT_EQ(call(member, arguments).status, DISP_E_BADPARAMCOUNT)
          << member.name << " " << arguments.size();
      arguments.push_back(Variant::of(LONG{1}).raw());
    }
  }
}

TEST_P(WrongArguments, AnyWrongTypeIsRefusedAndBlamed) {
  for (const Member& member : type().members) {
    for (std::size_t wrong = 0; wrong < member.parameters.size(); ++wrong) {
      for (const auto& [bad, expected] : bad_values(member.parameters[wrong].type)) {
        for (const bool by_reference : {false, true}) {
          std::vector<Variant> variables;
          for (const Parameter& parameter : member.parameters)
            variables.push_back(good_value(parameter.type));
          variables[wrong] = bad;
          std::vector<VARIANT> arguments;
          for (Variant& variable : variables) {
            arguments.push_back(by_reference ? automation::variable(variable) : variable.raw());
          }
          const Answer answer = call(member, arguments);
          EXPECT_EQ(answer.status, expected)
              << member.name << " " << wrong << " " << bad.text().substr(0, 50);
          EXPECT_EQ(answer.bad_argument, member.parameters.size() - 1 - wrong) << member.name;
        }
      }
    }
  }
}

TEST_P(WrongArguments, TextsWithNulsAndOfAMegabyteAreAnsweredOrRefusedByTheMember) {
  const std::array texts{std::string("no\0thing", 8), std::string(1'000'000, 'x'),
                         std::string("\xED\xA0\x80")};
  for (const Member& member : type().members) {
    for (std::size_t i = 0; i < member.parameters.size(); ++i) {
      if (member.parameters[i].type.kind != Kind::string) continue;
      for (const std::string& text : texts) {
        std::vector<Variant> variables;
        for (const Parameter& parameter : member.parameters) variables.push_back(good_value(parameter.type));
        variables[i] = Variant::of(text);
        std::vector<VARIANT> arguments;
        for (Variant& variable : variables) arguments.push_back(automation::variable(variable));
        const Answer answer = call(member, arguments);
        if (answer.status == S_OK) continue;
        EXPECT_EQ(answer.status, DISP_E_EXCEPTION) << member.name << " " << i;
        EXPECT_TRUE(is_own_failure(answer.code)) << member.name << " " << i << " " << answer.code;
        EXPECT_TRUE(answer.source.ends_with(tag(member))) << member.name << " " << i << " " << answer.source;
        EXPECT_NE(answer.description, "") << member.name << " " << i;
      }
    }
  }
}

TEST_P(WrongArguments, EarlyBoundCallersWithoutAPlaceForAnOutputAreTold) {
  int places = 0;
  for (std::size_t slot = 0; slot < type().members.size(); ++slot) {
    for (std::size_t i = 0; i < TypedCall(type().members[slot]).size(); ++i) {
      TypedCall without(type().members[slot]);
      if (!without.is_place(i)) continue;
      ++places;
      without.take_place_away(i);
      EXPECT_EQ(without.run(*object_.get(), slot), E_POINTER) << type().members[slot].name << " " << i;
    }
  }
  EXPECT_GT(places, 0);
}

TEST_P(WrongArguments, EarlyBoundNullStringsAreEmptyOnes) {
  for (std::size_t slot = 0; slot < type().members.size(); ++slot) {
    if (!has_text(type().members[slot])) continue;
    const HRESULT status = TypedCall(type().members[slot]).run(*object_.get(), slot);
    EXPECT_TRUE(status == S_OK || is_own_failure(status)) << type().members[slot].name << " " << status;
  }
}

}  // namespace
