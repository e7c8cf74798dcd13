-- The sample warehouse: 4,000 orders over two years, as one query. The
-- build runs it through `kxb save` into warehouse.db (table "orders"), with
-- the amount stored as an exact decimal and the order time as a date; the
-- end-to-end test runs the same text with Python's sqlite3 to check the
-- batch runner's totals independently.
--
-- The rows come from a fixed linear congruential sequence (every product
-- stays below 2^62, so SQLite never turns it into a double). Amounts have
-- up to 20 significant digits: 2 decimals and an integer part of up to 18
-- digits; about one order in seventeen is a refund (negative).
WITH RECURSIVE seq(n, x, y, z) AS (
  SELECT 1, 20240101, 77777, 31337
  UNION ALL
  SELECT n + 1,
         (x * 1103515245 + 12345) % 2147483648,
         (y * 1103515245 + 12345) % 2147483648,
         (z * 1103515245 + 12345) % 2147483648
  FROM seq WHERE n < 4000
)
SELECT
  n AS order_id,
  CASE (x / 65536) % 6
    WHEN 0 THEN 'North' WHEN 1 THEN 'South' WHEN 2 THEN 'East'
    WHEN 3 THEN 'West' WHEN 4 THEN 'Zürich' ELSE 'Île-de-France'
  END AS region,
  printf('C%04d', y % 1000) AS customer,
  (CASE WHEN (z / 256) % 17 = 0 THEN '-' ELSE '' END) ||
  CASE (x / 4096) % 5
    WHEN 0 THEN printf('%d.%02d', y % 1000, z % 100)
    WHEN 1 THEN printf('%d.%02d', y % 1000000, z % 100)
    WHEN 2 THEN printf('%d.%02d', (y % 1000000) * 1000000 + z % 1000000,
                       (x / 7) % 100)
    WHEN 3 THEN printf('%d.%02d', ((y % 1000000) * 1000000 + z % 1000000)
                                  * 1000000 + (x / 13) % 1000000,
                       (x / 7) % 100)
    ELSE printf('%d.%02d', 100 + y % 900, z % 100)
  END AS amount,
  printf('%s %02d:%02d:%02d',
         date('2024-01-01', '+' || (x % 731) || ' days'),
         y % 24, z % 60, (x / 3) % 60) AS ordered,
  ((z / 1024) % 3 = 0) AS paid
FROM seq
