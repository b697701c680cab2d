#include "present/grid.h"

#include <algorithm>
#include <cstdint>

namespace ostrel::present
{

Division::Division(int start, int length, int parts)
    : m_start(start), m_partLength(length / parts), m_leftOver(std::max(length % parts, 0))
{
}

int Division::Edge(int index) const
{
    const std::int64_t edge =
        m_start + std::int64_t{m_partLength} * index + std::min(index, m_leftOver);
    return static_cast<int>(static_cast<std::uint32_t>(edge));
}

bool Grid::IsPossible(int rows, int columns, const Edges& area)
{
    return rows > 0 && columns > 0 && Width(area) > 0;
}

Grid::Grid(int rows, int columns, const Edges& area)
    : m_columns(area.left, Width(area), columns), m_rows(area.top, Height(area), rows)
{
}

Edges Grid::Cell(int row, int column) const
{
    return {m_columns.Edge(column), m_rows.Edge(row), m_columns.Edge(column + 1),
            m_rows.Edge(row + 1)};
}

}  // namespace ostrel::present
