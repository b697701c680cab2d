#include <afxwin.h>
#include <gtest/gtest.h>

namespace
{

class Animal : public CObject
{
    DECLARE_DYNAMIC(Animal)

public:
    Animal() = default;
};

class Dog : public Animal
{
    DECLARE_DYNAMIC(Dog)

public:
    int m_age = 0;
};

class Puppy : public Dog
{
};

class Stone : public CObject
{
    DECLARE_DYNAMIC(Stone)

public:
    Stone() = default;
};

IMPLEMENT_DYNAMIC(Animal, CObject)
IMPLEMENT_DYNAMIC(Dog, Animal)
IMPLEMENT_DYNAMIC(Stone, CObject)

TEST(RuntimeClass, KnowsNameAndSize)
{
    EXPECT_STREQ(RUNTIME_CLASS(Dog)->m_lpszClassName, "Dog");
    EXPECT_EQ(RUNTIME_CLASS(Dog)->m_nObjectSize, static_cast<int>(sizeof(Dog)));
}

TEST(RuntimeClass, NamesItsBaseClass)
{
    EXPECT_EQ(RUNTIME_CLASS(Dog)->m_pfnGetBaseClass(), RUNTIME_CLASS(Animal));
    EXPECT_EQ(RUNTIME_CLASS(Animal)->m_pfnGetBaseClass(), RUNTIME_CLASS(CObject));
    EXPECT_EQ(RUNTIME_CLASS(CObject)->m_pfnGetBaseClass, nullptr);
}

TEST(RuntimeClass, AnObjectGivesTheClassItWasMadeOf)
{
    Dog dog;
    const Animal& animal = dog;
    EXPECT_EQ(animal.GetRuntimeClass(), RUNTIME_CLASS(Dog));
    EXPECT_EQ(Dog::GetThisClass(), RUNTIME_CLASS(Dog));
    EXPECT_EQ(Animal().GetRuntimeClass(), RUNTIME_CLASS(Animal));
}

TEST(RuntimeClass, AClassThatDeclaresNothingCountsAsItsBase)
{
    EXPECT_EQ(Puppy().GetRuntimeClass(), RUNTIME_CLASS(Dog));
}

TEST(RuntimeClass, IsDerivedFromItselfAndAllAboveIt)
{
    EXPECT_TRUE(RUNTIME_CLASS(Dog)->IsDerivedFrom(RUNTIME_CLASS(Dog)));
    EXPECT_TRUE(RUNTIME_CLASS(Dog)->IsDerivedFrom(RUNTIME_CLASS(Animal)));
    EXPECT_TRUE(RUNTIME_CLASS(Dog)->IsDerivedFrom(RUNTIME_CLASS(CObject)));
}

TEST(RuntimeClass, IsNotDerivedFromClassesBelowOrBesideIt)
{
    EXPECT_FALSE(RUNTIME_CLASS(Animal)->IsDerivedFrom(RUNTIME_CLASS(Dog)));
    EXPECT_FALSE(RUNTIME_CLASS(Dog)->IsDerivedFrom(RUNTIME_CLASS(Stone)));
    EXPECT_FALSE(RUNTIME_CLASS(Dog)->IsDerivedFrom(nullptr));
}

TEST(RuntimeClass, AnObjectIsOfTheKindOfItsBases)
{
    const Dog dog;
    EXPECT_TRUE(dog.IsKindOf(RUNTIME_CLASS(Dog)));
    EXPECT_TRUE(dog.IsKindOf(RUNTIME_CLASS(Animal)));
    EXPECT_FALSE(dog.IsKindOf(RUNTIME_CLASS(Stone)));
    EXPECT_TRUE(Stone().IsKindOf(RUNTIME_CLASS(Stone)));
}

TEST(RuntimeClass, TheFrameworksWindowAndApplicationClassesStandInTheirOrder)
{
    EXPECT_EQ(RUNTIME_CLASS(CWnd)->m_pfnGetBaseClass(), RUNTIME_CLASS(CCmdTarget));
    EXPECT_EQ(RUNTIME_CLASS(CWinApp)->m_pfnGetBaseClass(), RUNTIME_CLASS(CWinThread));
    EXPECT_EQ(RUNTIME_CLASS(CWinThread)->m_pfnGetBaseClass(), RUNTIME_CLASS(CCmdTarget));
    EXPECT_EQ(RUNTIME_CLASS(CCmdTarget)->m_pfnGetBaseClass(), RUNTIME_CLASS(CObject));
    EXPECT_STREQ(RUNTIME_CLASS(CWnd)->m_lpszClassName, "CWnd");
    ASSERT_NE(AfxGetApp(), nullptr);
    EXPECT_TRUE(AfxGetApp()->IsKindOf(RUNTIME_CLASS(CWinThread)));
}

}  // namespace
