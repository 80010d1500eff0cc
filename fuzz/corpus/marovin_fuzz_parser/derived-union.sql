SELECT s.CustomerID, s.n, CASE WHEN s.n > 5 THEN 'many' ELSE 'few' END AS Amount
FROM (SELECT o.CustomerID, COUNT(*) AS n FROM Orders o GROUP BY o.CustomerID) AS s
WHERE EXISTS (SELECT 1 FROM Customers c WHERE c.CustomerID = s.CustomerID)
UNION SELECT 'x', 1, NULL