#include <zendra/widgethighlighter.h>

namespace Zendra
{

WidgetHighlighter::~WidgetHighlighter() = default;

} // namespace Zendra
