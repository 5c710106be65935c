.pragma library

// Where a row dragged from `from` and let go at `y` (in `column`'s coordinates) goes: the offset of
// the row it lands before, or -1 when it stays where it was.
function target(repeater, column, from, y) {
    let to = 0
    for (let i = 0; i < repeater.count; ++i) {
        const item = repeater.itemAt(i)
        if (!item)
            continue
        const centre = item.mapToItem(column, 0, item.height / 2).y
        if (centre < y)
            to = i + 1
    }
    return to === from || to === from + 1 ? -1 : to
}
