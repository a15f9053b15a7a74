#include "wmi/catalog.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "wmi/memory_provider.h"

namespace kvwmi::embedded {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAre;

std::shared_ptr<Provider> provider(std::string name, std::vector<std::string> superclasses) {
  return std::make_shared<MemoryProvider>(MemoryClass{
      .name = std::move(name), .properties = {{"Name"}}, .superclasses = std::move(superclasses)});
}

class CatalogTest : public testing::Test {
 protected:
  std::vector<std::string> derived(std::string_view name) const {
    std::vector<std::string> names;
    for (const Catalog::Entry* entry : catalog.derived(name)) names.emplace_back(entry->schema->name);
    return names;
  }

  Catalog catalog{{provider("Win32_Directory", {"CIM_Directory", "CIM_LogicalFile"}),
                   provider("CIM_DataFile", {"CIM_LogicalFile"}), provider("Win32_Alone", {})}};
};

TEST_F(CatalogTest, HoldsSuperclassesTooByName) {
  EXPECT_THAT(catalog.names(), ElementsAre("CIM_DataFile", "CIM_Directory", "CIM_LogicalFile", "Win32_Alone",
                                           "Win32_Directory"));
  EXPECT_TRUE(catalog.knows("cim_logicalFILE"));
  EXPECT_FALSE(catalog.knows("CIM_Logical"));
}

TEST_F(CatalogTest, ASuperclassKnownByNameAloneIsAbstractAndHasItsOwnSuperclasses) {
  const Catalog::Entry* directory = catalog.find("cim_directory");
  ASSERT_NE(directory, nullptr);
  EXPECT_EQ(directory->provider, nullptr);
  EXPECT_TRUE(directory->schema->is_abstract);
  EXPECT_THAT(directory->schema->superclasses, ElementsAre("CIM_LogicalFile"));
  EXPECT_NE(catalog.find("Win32_Directory")->provider, nullptr);
}

TEST_F(CatalogTest, ListsAClassBeforeThoseDerivedFromIt) {
  EXPECT_THAT(derived("CIM_LogicalFile"),
              ElementsAre("CIM_LogicalFile", "CIM_DataFile", "CIM_Directory", "Win32_Directory"));
  EXPECT_THAT(derived("win32_directory"), ElementsAre("Win32_Directory"));
  EXPECT_THAT(derived("Win32_Absent"), IsEmpty());
}

TEST_F(CatalogTest, AFamilyIsOneLineOfDerivation) {
  EXPECT_THAT(catalog.family("CIM_Directory"),
              UnorderedElementsAre("CIM_Directory", "Win32_Directory", "CIM_LogicalFile"));
  EXPECT_THAT(catalog.family("Win32_Alone"), ElementsAre("Win32_Alone"));
  EXPECT_THAT(catalog.family("Win32_Absent"), ElementsAre("Win32_Absent"));
}

}  // namespace
}  // namespace kvwmi::embedded
