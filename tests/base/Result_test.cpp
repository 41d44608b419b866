#include "base/Result.hpp"

#include <gtest/gtest.h>
#include <memory>

using tw::Error;
using tw::Result;

TEST(Result, carriesEitherAValueOrAnError)
{
    Result<int> good = 7;
    ASSERT_TRUE(good.ok());
    EXPECT_EQ(good.value(), 7);

    Result<int> bad = Error{"Project", 2, "Versión de proyecto no compatible."};
    ASSERT_FALSE(bad);
    EXPECT_EQ(bad.error().domain, "Project");
    EXPECT_EQ(bad.error().code, 2);

    Result<std::unique_ptr<int>> moved = std::make_unique<int>(3);
    std::unique_ptr<int> taken = std::move(moved).value();
    EXPECT_EQ(*taken, 3);

    Result<void> done;
    EXPECT_TRUE(done.ok());
    Result<void> failed = tw::systemError(ENOSPC, "No se pudo escribir");
    ASSERT_FALSE(failed.ok());
    EXPECT_EQ(failed.error().domain, "System");
    EXPECT_EQ(failed.error().code, ENOSPC);
    EXPECT_NE(failed.error().description.find("No se pudo escribir: "), std::string::npos);
}
