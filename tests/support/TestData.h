#pragma once

#include <QTest>

#include <type_traits>

// A data-table column read where an expression is wanted, so that the expected value can stand in
// the comparison itself: QCOMPARE(actual, TW_DATA(QString, expected)).
#define TW_DATA(Type, name) (*static_cast<Type *>(QTest::qData(#name, ::qMetaTypeId<std::remove_cv_t<Type>>())))
