package kiv.media.ffmpeg.cli;

import java.io.PrintWriter;
import java.util.ArrayList;
import java.util.List;

/** Lines of cells, each column as wide as its widest cell. */
final class Table {

    private static final String GAP = "  ";

    private final List<List<String>> rows = new ArrayList<>();

    /** Adds a line; cells at its end may be left out. */
    void row(String... cells) {
        rows.add(List.of(cells));
    }

    void print(PrintWriter out) {
        for (List<String> row : rows) {
            StringBuilder line = new StringBuilder();
            for (int column = 0; column < row.size(); column++) {
                String cell = row.get(column);
                line.append(cell).append(" ".repeat(width(column) - cell.length())).append(GAP);
            }
            out.println(line.toString().stripTrailing());
        }
    }

    private int width(int column) {
        return rows.stream().filter(row -> column < row.size()).mapToInt(row -> row.get(column).length()).max()
                .orElse(0);
    }
}
