/// @file
/// Splits an area into a grid of cells.
#pragma once

#include "present/fit_rect.h"

namespace ostrel::present
{

/// A length cut into parts of whole pixels. What is left over goes to the first parts, a pixel
/// each; a negative length, cut towards zero, leaves nothing over.
class Division
{
public:
    /// @param parts at least 1.
    Division(int start, int length, int parts);

    /// @return where part @p index starts, which is where the one before it ends.
    int Edge(int index) const;

private:
    int m_start;
    int m_partLength;
    int m_leftOver;
};

/// Rows and columns of an area. Sizes and places are 32-bit numbers that wrap around.
class Grid
{
public:
    /// @return whether there is anything to divide: an area at least a pixel wide, and at least one
    /// row and one column.
    static bool IsPossible(int rows, int columns, const Edges& area);

    /// Only where IsPossible().
    Grid(int rows, int columns, const Edges& area);

    Edges Cell(int row, int column) const;

private:
    Division m_columns;
    Division m_rows;
};

}  // namespace ostrel::present
