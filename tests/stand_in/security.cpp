#include "stand_in/security.h"

#include <map>
#include <memory>
#include <vector>

#include "frame/wmi_status.h"
#include "stand_in/list.h"
#include "stand_in/value.h"

namespace kvwmi::stand_in {
namespace {

struct Privileges {
  std::map<WbemPrivilegeEnum, bool> enabled;
  PrivilegeAdded added;
};

class Privilege final : public Automation<ISWbemPrivilege> {
 public:
  Privilege(std::shared_ptr<Privileges> set, WbemPrivilegeEnum id) : set_(std::move(set)), id_(id) {}

  STDMETHODIMP get_IsEnabled(VARIANT_BOOL* enabled) override {
    return answer([&] { *enabled = set_->enabled.at(id_) ? VARIANT_TRUE : VARIANT_FALSE; });
  }
  STDMETHODIMP put_IsEnabled(VARIANT_BOOL enabled) override {
    return answer([&] { set_->enabled[id_] = enabled != VARIANT_FALSE; });
  }
  STDMETHODIMP get_Name(BSTR*) override { return not_supported(); }
  STDMETHODIMP get_DisplayName(BSTR*) override { return not_supported(); }
  STDMETHODIMP get_Identifier(WbemPrivilegeEnum* id) override {
    if (!id) return E_POINTER;
    *id = id_;
    return S_OK;
  }

 private:
  std::shared_ptr<Privileges> set_;
  WbemPrivilegeEnum id_;
};

class PrivilegeSet final : public Automation<ISWbemPrivilegeSet> {
 public:
  explicit PrivilegeSet(std::shared_ptr<Privileges> set) : set_(std::move(set)) {}

  STDMETHODIMP get__NewEnum(IUnknown** list) override {
    return answer([&] {
      std::vector<ComPtr<ISWbemPrivilege>> objects;
      for (const auto& entry : set_->enabled) objects.push_back(make(entry.first));
      give(list, enumerator_over(objects));
    });
  }
  STDMETHODIMP Item(WbemPrivilegeEnum id, ISWbemPrivilege** privilege) override {
    return answer([&] {
      if (!set_->enabled.contains(id)) throw wmi::wmi_error(wmi::Status::not_found, "SWbemPrivilegeSet");
      give(privilege, make(id));
    });
  }
  STDMETHODIMP get_Count(LONG* count) override {
    if (!count) return E_POINTER;
    *count = static_cast<LONG>(set_->enabled.size());
    return S_OK;
  }
  STDMETHODIMP Add(WbemPrivilegeEnum id, VARIANT_BOOL enabled, ISWbemPrivilege** privilege) override {
    return answer([&] {
      set_->enabled[id] = enabled != VARIANT_FALSE;
      if (set_->added) set_->added(id, enabled != VARIANT_FALSE);
      give(privilege, make(id));
    });
  }
  STDMETHODIMP Remove(WbemPrivilegeEnum id) override {
    set_->enabled.erase(id);
    return S_OK;
  }
  STDMETHODIMP DeleteAll() override {
    set_->enabled.clear();
    return S_OK;
  }
  STDMETHODIMP AddAsString(BSTR, VARIANT_BOOL, ISWbemPrivilege**) override { return not_supported(); }

 private:
  [[nodiscard]] ComPtr<ISWbemPrivilege> make(WbemPrivilegeEnum id) {
    return own<ISWbemPrivilege>(new Privilege(set_, id));
  }

  std::shared_ptr<Privileges> set_;
};

class Security final : public Automation<ISWbemSecurity> {
 public:
  explicit Security(PrivilegeAdded added) : privileges_(std::make_shared<Privileges>()) {
    privileges_->added = std::move(added);
  }

  STDMETHODIMP get_ImpersonationLevel(WbemImpersonationLevelEnum* level) override {
    if (!level) return E_POINTER;
    *level = impersonation_;
    return S_OK;
  }
  STDMETHODIMP put_ImpersonationLevel(WbemImpersonationLevelEnum level) override {
    impersonation_ = level;
    return S_OK;
  }
  STDMETHODIMP get_AuthenticationLevel(WbemAuthenticationLevelEnum* level) override {
    if (!level) return E_POINTER;
    *level = authentication_;
    return S_OK;
  }
  STDMETHODIMP put_AuthenticationLevel(WbemAuthenticationLevelEnum level) override {
    authentication_ = level;
    return S_OK;
  }
  STDMETHODIMP get_Privileges(ISWbemPrivilegeSet** set) override {
    return answer([&] { give(set, own(new PrivilegeSet(privileges_))); });
  }

 private:
  std::shared_ptr<Privileges> privileges_;
  WbemImpersonationLevelEnum impersonation_ = wbemImpersonationLevelImpersonate;
  WbemAuthenticationLevelEnum authentication_ = wbemAuthenticationLevelPktPrivacy;
};

}  // namespace

ComPtr<ISWbemSecurity> make_security(PrivilegeAdded added) {
  return own<ISWbemSecurity>(new Security(std::move(added)));
}

}  // namespace kvwmi::stand_in
