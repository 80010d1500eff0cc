SELECT e.LastName, t.TerritoryDescription
FROM Employees e RIGHT OUTER JOIN
  (EmployeeTerritories et INNER JOIN Territories t ON et.TerritoryID = t.TerritoryID)
  ON e.EmployeeID = et.EmployeeID, Region r
WHERE /* only active */ e.EmployeeID IS NOT NULL