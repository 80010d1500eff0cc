SELECT
     Customers.CompanyName AS CompanyName, 
     SUM(Orders.Freight) AS TotalFreight, 
     COUNT(Orders.OrderID) AS OrderCount
FROM
     dbo.Orders AS Orders 
     INNER JOIN dbo.Customers AS Customers
     ON Orders.CustomerID = Customers.CustomerID
WHERE
      (Orders.ShipCountry = 'Germany')
GROUP BY
     Customers.CompanyName
HAVING
      (SUM(Orders.Freight) > 100)
ORDER BY
     CompanyName ASC,
     TotalFreight DESC