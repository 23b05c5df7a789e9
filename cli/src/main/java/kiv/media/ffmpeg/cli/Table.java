package kiv.media.ffmpeg.cli;

import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.List;
import java.util.stream.Stream;
import kiv.media.ffmpeg.cli.report.VisibleText;

/** Lines of cells, each column as wide as its widest cell. What is invisible in a cell is shown as a sign. */
final class Table {

    private static final String GAP = "  ";

    private final List<List<String>> rows = new ArrayList<>();
    private final List<Integer> widths = new ArrayList<>();

    /** Adds a line; cells at its end may be left out. */
    void row(String... cells) {
        List<String> row = Stream.of(cells).map(VisibleText::of).toList();
        rows.add(row);
        for (int column = 0; column < row.size(); column++) {
            int width = row.get(column).length();
            if (column == widths.size()) {
                widths.add(width);
            } else if (width > widths.get(column)) {
                widths.set(column, width);
            }
        }
    }

    void print(PrintWriter out) {
        for (List<String> row : rows) {
            StringBuilder line = new StringBuilder();
            for (int column = 0; column < row.size(); column++) {
                String cell = row.get(column);
                line.append(cell).append(" ".repeat(widths.get(column) - cell.length())).append(GAP);
            }
            out.println(line.toString().stripTrailing());
        }
    }
}
