-- Makes a manual page of a document: its title becomes the section NAME, links to other files become text.
-- Metadata: name and summary.

function Link(link)
    if not link.target:match("^https?:") then
        return link.content
    end
end

-- Columns as wide as their texts; the last one gets what is left of a line and wraps.
function Table(table)
    local widths = {}
    local function measure(rows)
        for _, row in ipairs(rows) do
            for column, cell in ipairs(row.cells) do
                widths[column] = math.max(widths[column] or 0, #pandoc.utils.stringify(cell.contents))
            end
        end
    end
    measure(table.head.rows)
    for _, body in ipairs(table.bodies) do
        measure(body.body)
    end
    local left = 0.85
    for column = 1, #table.colspecs - 1 do
        local width = math.min((widths[column] + 1) / 72, left / 2)
        table.colspecs[column] = {table.colspecs[column][1], width}
        left = left - width
    end
    table.colspecs[#table.colspecs] = {table.colspecs[#table.colspecs][1], left}
    return table
end

function Pandoc(document)
    local blocks = pandoc.List()
    for _, block in ipairs(document.blocks) do
        if block.t ~= "Header" then
            blocks:insert(block)
        elseif block.level > 1 then
            block.level = block.level - 1
            blocks:insert(block)
        else
            local meta = document.meta
            blocks:insert(pandoc.Header(1, "NAME"))
            blocks:insert(pandoc.Para(pandoc.Inlines(pandoc.utils.stringify(meta.name) .. " - "
                .. pandoc.utils.stringify(meta.summary))))
            blocks:insert(pandoc.Header(1, "DESCRIPTION"))
        end
    end
    return pandoc.Pandoc(blocks, document.meta)
end
