"""What the pictures share: an SVG that is written piece by piece."""

from xml.sax.saxutils import escape

INK, SOFT, LINE = "#1c2430", "#5a6675", "#8a97a6"
FONT = "font-family=\"'Noto Sans','DejaVu Sans',sans-serif\""


class Drawing:
    """A picture of a width and a height, on white."""

    def __init__(self, width, height, title):
        self.pieces = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" width="{width}" '
                       f'height="{height}" role="img" {FONT}>', f"<title>{escape(title)}</title>",
                       f'<rect width="{width}" height="{height}" fill="#ffffff"/>']

    def box(self, x, y, width, height, fill, stroke=LINE):
        self.pieces.append(f'<rect x="{x:g}" y="{y:g}" width="{width:g}" height="{height:g}" fill="{fill}" stroke="{stroke}"/>')

    def text(self, x, y, words, size=14, anchor="start", colour=INK, weight="normal"):
        self.pieces.append(f'<text x="{x:g}" y="{y:g}" font-size="{size}" text-anchor="{anchor}" fill="{colour}" '
                           f'font-weight="{weight}">{escape(words)}</text>')

    def line(self, points, dashed=False, arrow=False):
        path = "M" + " L".join(f"{x:g},{y:g}" for x, y in points)
        dash = ' stroke-dasharray="4 3"' if dashed else ""
        self.pieces.append(f'<path d="{path}" fill="none" stroke="{LINE}"{dash}/>')
        if arrow:
            x, y = points[-1]
            self.pieces.append(f'<path d="M{x - 4:g},{y + 7:g} L{x:g},{y:g} L{x + 4:g},{y + 7:g}" fill="none" stroke="{LINE}"/>')

    def save(self, name):
        with open(name, "w", encoding="utf-8") as file:
            file.write("\n".join([*self.pieces, "</svg>", ""]))
